// AMF0 values, in which FLV files store their metadata: a tree of values, its reader and its writer. The encoding is
// Adobe's "Action Message Format - AMF 0".
#pragma once

#include <cstdint>
#include <span>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

namespace qbflv::flv {

class AmfValue {
 public:
  enum class Type : std::uint8_t { kNumber, kBoolean, kString, kNull, kUndefined, kObject, kMixedArray, kArray, kDate };
  struct Entry;

  // Implicit, so that callers can write Append("width", 320.0).
  AmfValue();
  AmfValue(double number);     // NOLINT(google-explicit-constructor)
  AmfValue(bool truth);        // NOLINT(google-explicit-constructor)
  AmfValue(std::string text);  // NOLINT(google-explicit-constructor)
  explicit AmfValue(Type type);
  // Defined in amf.cpp, because Entry is incomplete here.
  AmfValue(const AmfValue& other);
  AmfValue(AmfValue&& other) noexcept;
  AmfValue& operator=(const AmfValue& other);
  AmfValue& operator=(AmfValue&& other) noexcept;
  ~AmfValue();
  /// Returns a date. time: ms since 1970-01-01 UTC. zone: time zone in minutes.
  static AmfValue Date(double time, std::int16_t zone);
  static AmfValue NumberArray(std::span<const double> numbers);

  Type GetType() const { return m_type; }
  bool IsNumber() const { return m_type == Type::kNumber; }
  bool IsText() const { return m_type == Type::kString; }
  /// Returns the value of a number, the time of a date, or 0 or 1 for a boolean.
  double Number() const { return m_number; }
  /// Returns the bytes of a string as stored, which need not be valid UTF-8.
  const std::string& Text() const { return m_text; }
  std::int16_t Zone() const { return m_zone; }
  /// Returns the entries in the order of the file. A name may occur more than once. Entries of an array have no names.
  const std::vector<Entry>& Entries() const { return m_entries; }

  /// Returns the value of the first entry with that name, or null.
  const AmfValue* Find(std::string_view name) const;
  /// Replaces the first value with that name, or appends an entry.
  void Set(std::string_view name, AmfValue value);
  /// Removes all entries with that name.
  void Remove(std::string_view name);
  void Append(std::string name, AmfValue value);

 private:
  Type m_type;
  std::int16_t m_zone = 0;
  double m_number = 0;
  std::string m_text;
  std::vector<Entry> m_entries;
};

struct AmfValue::Entry {
  std::string name;
  AmfValue value;
};

/// Decodes consecutive values. A reader accepts 32 levels of nesting and 300,000 values in total, and rejects the types
/// that are rare in FLV files: references, typed objects, XML and others.
class AmfReader {
 public:
  explicit AmfReader(std::span<const std::uint8_t> bytes) : m_bytes(bytes) {}

  /// Decodes the next value. Returns false if it is truncated or malformed; value then holds what was decoded before
  /// that, including incomplete containers.
  bool Read(AmfValue& value);

  bool AtEnd() const { return m_bytes.empty(); }

 private:
  bool ReadValue(AmfValue& value, int depth);
  bool ReadEntries(AmfValue& value, int depth);
  bool ReadElements(AmfValue& value, int depth);
  bool ReadNumber(std::uint32_t& number, std::size_t size);
  bool ReadDouble(double& number);
  bool ReadText(std::string& text, std::size_t lengthSize);
  bool SkipEndMark();

  std::span<const std::uint8_t> m_bytes;
  std::uint32_t m_valuesLeft = 300'000;
};

/// Appends the encoded value to bytes.
void WriteAmf(const AmfValue& value, std::vector<std::uint8_t>& bytes);

/// Returns the number of bytes that WriteAmf appends.
std::size_t AmfSize(const AmfValue& value);

}  // namespace qbflv::flv
