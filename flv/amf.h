// AMF0 values, in which FLV files keep their metadata: a tree, and how it is read and written.
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

  // Values convert where they are written: Append("width", 320.0).
  AmfValue();
  AmfValue(double number);     // NOLINT(google-explicit-constructor)
  AmfValue(bool truth);        // NOLINT(google-explicit-constructor)
  AmfValue(std::string text);  // NOLINT(google-explicit-constructor)
  explicit AmfValue(Type type);
  // Outside of the class, since entries hold values.
  AmfValue(const AmfValue& other);
  AmfValue(AmfValue&& other) noexcept;
  AmfValue& operator=(const AmfValue& other);
  AmfValue& operator=(AmfValue&& other) noexcept;
  ~AmfValue();
  /// time: ms since 1970. zone: minutes.
  static AmfValue Date(double time, std::int16_t zone);
  static AmfValue NumberArray(std::span<const double> numbers);

  Type GetType() const { return m_type; }
  bool IsNumber() const { return m_type == Type::kNumber; }
  bool IsText() const { return m_type == Type::kString; }
  /// Of a number, or the time of a date; of a boolean, 0 or 1.
  double Number() const { return m_number; }
  /// The file's own bytes, which need not be UTF-8.
  const std::string& Text() const { return m_text; }
  std::int16_t Zone() const { return m_zone; }
  /// Of an object or mixed array in their order, where a name may come twice; of an array, without names.
  const std::vector<Entry>& Entries() const { return m_entries; }

  /// Of an object or mixed array, the first value of that name; null if there is none.
  const AmfValue* Find(std::string_view name) const;
  /// Of an object or mixed array. A value of that name is replaced where it stands.
  void Set(std::string_view name, AmfValue value);
  /// Removes all values of that name.
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

/// Reads values one after the other. Containers nest at most 32 deep, and one reader makes at most 300,000 values.
/// Types that are rare in files (references, typed objects, XML and the like) end the reading.
class AmfReader {
 public:
  explicit AmfReader(std::span<const std::uint8_t> bytes) : m_bytes(bytes) {}

  /// False when the bytes end or cannot be read: value then holds what was read before, containers as far as they go.
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

void WriteAmf(const AmfValue& value, std::vector<std::uint8_t>& bytes);

/// What WriteAmf would append.
std::size_t AmfSize(const AmfValue& value);

}  // namespace qbflv::flv
