// A decoded AMF0 value: one node of a tree that owns all that is below it.
#pragma once

#include <cstdint>

#include "plugin/meta/amf_input.h"
#include "plugin/shell/host_interfaces.h"
#include "plugin/util/owned.h"

namespace qbflv {

/// Type markers. The ones that are not decoded are refused.
enum AMFType : std::uint8_t {
  kAMFNumber = 0,        // 8 bytes, double precision
  kAMFBoolean = 1,       // 1 byte
  kAMFString = 2,        // u16 length, bytes
  kAMFObject = 3,        // entries (u16 length and name, value) up to a value EndOfObject
  kAMFMovieClip = 4,     // refused
  kAMFNull = 5,          // nothing
  kAMFUndefined = 6,     // nothing
  kAMFReference = 7,     // refused
  kAMFMixedArray = 8,    // u32 count, at most that many entries as of an Object, ended early by 00 00 09
  kAMFEndOfObject = 9,   // nothing
  kAMFArray = 10,        // u32 count, that many values
  kAMFDate = 11,         // 8 bytes double precision, u16 time zone
  kAMFLongString = 12,   // u32 length, bytes
  kAMFUnsupported = 13,  // nothing
  kAMFRecordSet = 14,    // refused, as all that follow
  kAMFXML = 15,
  kAMFTypedObject = 16,
  kAMFAMF3Data = 17,
  /// Answered for a value that is not there.
  kAMFNoValue = 18,
};

/// New nodes are all zero. A node may be decoded into again: what its new body does not replace stays.
///
/// Containers keep the count that was declared, also when decoding failed before so many entries were there. Entries
/// below the count that were never made have the type and the number of a new node, but there is no node of theirs.
class AMFValue {
 public:
  AMFValue() = default;
  AMFValue(AMFValue&&) = default;
  AMFValue& operator=(AMFValue&&) = default;
  ~AMFValue() = default;

  /// Decodes a marker and the body that belongs to it. kFailed: too few bytes, a type that is refused, or nesting
  /// beyond the bound. kOutOfMemory: also when the tree exceeds its bound. The input then stands after what was
  /// consumed.
  [[nodiscard]] Status ReadValue(AMFInput& input);
  /// Decodes the body of the type that the node has.
  [[nodiscard]] Status ReadValueBody(AMFInput& input);
  /// Makes the node as new, but for the time zone.
  void Clear();

  /// How many entries can have a name. Fewer than m_ulNameCount where a failed tag declared more than it held: a walk
  /// over the names ends here, or a few bytes could make it take minutes.
  [[nodiscard]] std::uint32_t GetNamedCount() const;
  /// The name of an entry, or null when there is none.
  [[nodiscard]] const char* GetName(std::uint32_t index) const;
  /// The value of an entry or element, or null when there is none.
  [[nodiscard]] const AMFValue* GetValue(std::uint32_t index) const;
  /// Its type, or kAMFNoValue.
  [[nodiscard]] std::uint8_t GetValueType(std::uint32_t index) const;
  /// Its number, whatever its type, or 0.
  [[nodiscard]] double GetValueNumber(std::uint32_t index) const;
  /// The value of the first entry of that name, in an Object or MixedArray. Names are compared up to their first NUL.
  /// kFailed when there is none: value stays.
  [[nodiscard]] Status FindProperty(const char* name, const AMFValue** value) const;
  /// The same for a Number. kFailed when the property is none.
  [[nodiscard]] Status FindNumber(const char* name, double* number) const;

  std::uint8_t m_ucType = kAMFNumber;
  /// Of a Number; the time of a Date.
  double m_dNumber = 0.0;
  /// Of a Boolean: 0 or 1.
  std::uint32_t m_bBoolean = 0;
  /// Of a String or LongString, with a NUL after it; bytes that are 0 may stand within.
  OwnedArray<char> m_pszString;
  /// Of a Date, as read.
  std::uint16_t m_usTimeZone = 0;
  std::uint32_t m_ulNameCount = 0;
  std::uint32_t m_ulValueCount = 0;
  /// Names of an Object's or MixedArray's entries, as String nodes.
  OwnedArray<AMFValue> m_pNames;
  /// Their values, or the elements of an Array.
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
  /// Replaces both arrays by ones of count new nodes.
  [[nodiscard]] Status MakeEntries(AMFInput& input, std::uint32_t count);
  /// Gives both arrays newCount nodes, keeping those that there are.
  [[nodiscard]] Status ResizeEntries(AMFInput& input, std::uint32_t newCount);

  /// Nodes that the arrays really hold: more than the counts while an Object is being decoded, fewer when a declared
  /// count was not believed and decoding failed.
  std::uint32_t m_ulNamesMade = 0;
  std::uint32_t m_ulValuesMade = 0;
};

}  // namespace qbflv
