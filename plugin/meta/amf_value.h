// A decoded AMF0 value: one node of a tree, which owns its child nodes.
#pragma once

#include <cstdint>

#include "plugin/meta/amf_input.h"
#include "plugin/shell/host_interfaces.h"
#include "plugin/util/owned.h"

namespace qbflv {

/// Type markers with the bodies that follow them. The decoder fails for a marker that is refused.
enum AMFType : std::uint8_t {
  kAMFNumber = 0,        // 8 bytes, double precision
  kAMFBoolean = 1,       // 1 byte
  kAMFString = 2,        // u16 length, bytes
  kAMFObject = 3,        // entries (u16 length and name, value) up to a value EndOfObject
  kAMFMovieClip = 4,     // refused
  kAMFNull = 5,          // nothing
  kAMFUndefined = 6,     // nothing
  kAMFReference = 7,     // refused
  kAMFMixedArray = 8,    // u32 count, at most that many entries like an Object's; 00 00 09 ends them early
  kAMFEndOfObject = 9,   // nothing
  kAMFArray = 10,        // u32 count, that many values
  kAMFDate = 11,         // 8 bytes double precision, u16 time zone
  kAMFLongString = 12,   // u32 length, bytes
  kAMFUnsupported = 13,  // nothing
  kAMFRecordSet = 14,    // refused, like all markers after it
  kAMFXML = 15,
  kAMFTypedObject = 16,
  kAMFAMF3Data = 17,
  /// GetValueType returns it for a value that does not exist.
  kAMFNoValue = 18,
};

/// All fields of a new node are zero. A node may be decoded into again; fields that the new body does not set keep
/// their values.
///
/// Containers keep their declared count even if decoding fails earlier. An entry below the count that has no node
/// reports the type and number of a new node.
class AMFValue {
 public:
  AMFValue() = default;
  AMFValue(AMFValue&&) = default;
  AMFValue& operator=(AMFValue&&) = default;
  ~AMFValue() = default;

  /// Decodes a marker and its body. Returns kFailed if bytes are missing, a type is refused or the nesting exceeds its
  /// bound, and kOutOfMemory also if the tree exceeds its bound. After a failure the cursor is after the last item that
  /// was read.
  [[nodiscard]] Status ReadValue(AMFInput& input);
  /// Decodes a body for the node's type.
  [[nodiscard]] Status ReadValueBody(AMFInput& input);
  /// Resets all fields except the time zone.
  void Clear();

  /// Number of entries that can have a name. It is below m_ulNameCount if a tag declares more entries than it holds.
  /// Loops over the names use it, because m_ulNameCount could make them run for minutes.
  [[nodiscard]] std::uint32_t GetNamedCount() const;
  /// Returns the name of an entry, or null if there is none.
  [[nodiscard]] const char* GetName(std::uint32_t index) const;
  /// Returns the value of an entry or element, or null if there is none.
  [[nodiscard]] const AMFValue* GetValue(std::uint32_t index) const;
  /// Returns the type of that value, or kAMFNoValue.
  [[nodiscard]] std::uint8_t GetValueType(std::uint32_t index) const;
  /// Returns the number of that value, whatever its type, or 0.
  [[nodiscard]] double GetValueNumber(std::uint32_t index) const;
  /// Finds the first entry with that name in an Object or MixedArray; compares names up to their first NUL. Returns
  /// kFailed and leaves value unchanged if there is none.
  [[nodiscard]] Status FindProperty(const char* name, const AMFValue** value) const;
  /// Like FindProperty, for a Number. Returns kFailed also if the value has another type.
  [[nodiscard]] Status FindNumber(const char* name, double* number) const;

  std::uint8_t m_ucType = kAMFNumber;
  /// The value of a Number, or the time of a Date.
  double m_dNumber = 0.0;
  /// The value of a Boolean: 0 or 1.
  std::uint32_t m_bBoolean = 0;
  /// The text of a String or LongString, with a NUL after it. The text itself may contain NULs.
  OwnedArray<char> m_pszString;
  /// The time zone of a Date, as read.
  std::uint16_t m_usTimeZone = 0;
  std::uint32_t m_ulNameCount = 0;
  std::uint32_t m_ulValueCount = 0;
  /// The names of the entries of an Object or MixedArray, as String nodes.
  OwnedArray<AMFValue> m_pNames;
  /// The values of these entries, or the elements of an Array.
  OwnedArray<AMFValue> m_pValues;

 private:
  [[nodiscard]] Status ReadBoolean(AMFInput& input);
  [[nodiscard]] Status ReadString(AMFInput& input);
  [[nodiscard]] Status ReadLongString(AMFInput& input);
  [[nodiscard]] Status ReadText(AMFInput& input, std::uint32_t length);
  [[nodiscard]] Status ReadDate(AMFInput& input);
  [[nodiscard]] Status ReadContainer(AMFInput& input);
  [[nodiscard]] Status ReadArray(AMFInput& input);
  [[nodiscard]] Status ReadMixedArray(AMFInput& input);
  [[nodiscard]] Status ReadObject(AMFInput& input);
  [[nodiscard]] Status ReadObjectEntries(AMFInput& input);
  [[nodiscard]] Status ReadEntry(AMFInput& input, std::uint32_t index);
  /// Replaces both arrays with count new nodes each.
  [[nodiscard]] Status MakeEntries(AMFInput& input, std::uint32_t count);
  /// Resizes both arrays to newCount nodes and keeps the nodes that fit.
  [[nodiscard]] Status ResizeEntries(AMFInput& input, std::uint32_t newCount);

  /// Number of nodes in the arrays. It exceeds the counts while an Object is decoded, and is below them if decoding
  /// fails before all declared entries have nodes.
  std::uint32_t m_ulNamesMade = 0;
  std::uint32_t m_ulValuesMade = 0;
};

}  // namespace qbflv
