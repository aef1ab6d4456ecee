// AMF0 values, in which FLV files store their metadata: a tree of values, its reader and its writer.
#include "flv/amf.h"

#include <algorithm>
#include <bit>

namespace qbflv::flv {

namespace {

/// Type markers. kEndMarker ends the entries of an object or mixed array.
enum Marker : std::uint8_t {
  kNumberMarker = 0,
  kBooleanMarker = 1,
  kStringMarker = 2,
  kObjectMarker = 3,
  kNullMarker = 5,
  kUndefinedMarker = 6,
  kMixedArrayMarker = 8,
  kEndMarker = 9,
  kArrayMarker = 10,
  kDateMarker = 11,
  kLongStringMarker = 12,
};

constexpr int kMaxDepth = 32;
/// The lengths of names, and of strings without kLongStringMarker, have 16 bits.
constexpr std::size_t kMaxShortText = 0xFFFF;

void AppendNumber(std::vector<std::uint8_t>& bytes, std::uint64_t number, int size) {
  for (int shift = 8 * (size - 1); shift >= 0; shift -= 8) bytes.push_back(static_cast<std::uint8_t>(number >> shift));
}

void AppendDouble(std::vector<std::uint8_t>& bytes, double number) {
  AppendNumber(bytes, std::bit_cast<std::uint64_t>(number), 8);
}

void AppendText(std::vector<std::uint8_t>& bytes, std::string_view text, int lengthSize) {
  AppendNumber(bytes, text.size(), lengthSize);
  bytes.insert(bytes.end(), text.begin(), text.end());
}

void AppendEntries(std::vector<std::uint8_t>& bytes, const std::vector<AmfValue::Entry>& entries) {
  for (const AmfValue::Entry& entry : entries) {
    AppendText(bytes, std::string_view(entry.name).substr(0, kMaxShortText), 2);
    WriteAmf(entry.value, bytes);
  }
  AppendNumber(bytes, kEndMarker, 3);  // an empty name and the end marker
}

}  // namespace

AmfValue::AmfValue() : m_type(Type::kNull) {}
AmfValue::AmfValue(double number) : m_type(Type::kNumber), m_number(number) {}
AmfValue::AmfValue(bool truth) : m_type(Type::kBoolean), m_number(truth ? 1 : 0) {}
AmfValue::AmfValue(std::string text) : m_type(Type::kString), m_text(std::move(text)) {}
AmfValue::AmfValue(Type type) : m_type(type) {}
AmfValue::AmfValue(const AmfValue& other) = default;
AmfValue::AmfValue(AmfValue&& other) noexcept = default;
AmfValue& AmfValue::operator=(const AmfValue& other) = default;
AmfValue& AmfValue::operator=(AmfValue&& other) noexcept = default;
AmfValue::~AmfValue() = default;

AmfValue AmfValue::Date(double time, std::int16_t zone) {
  AmfValue value(Type::kDate);
  value.m_number = time;
  value.m_zone = zone;
  return value;
}

AmfValue AmfValue::NumberArray(std::span<const double> numbers) {
  AmfValue value(Type::kArray);
  value.m_entries.reserve(numbers.size());
  for (const double number : numbers) value.m_entries.push_back({{}, number});
  return value;
}

const AmfValue* AmfValue::Find(std::string_view name) const {
  const auto found = std::ranges::find(m_entries, name, &Entry::name);
  return found == m_entries.end() ? nullptr : &found->value;
}

void AmfValue::Set(std::string_view name, AmfValue value) {
  const auto found = std::ranges::find(m_entries, name, &Entry::name);
  if (found == m_entries.end()) {
    Append(std::string(name), std::move(value));
  } else {
    found->value = std::move(value);
  }
}

void AmfValue::Remove(std::string_view name) {
  std::erase_if(m_entries, [&](const Entry& entry) { return entry.name == name; });
}

void AmfValue::Append(std::string name, AmfValue value) { m_entries.push_back({std::move(name), std::move(value)}); }

bool AmfReader::Read(AmfValue& value) { return ReadValue(value, 0); }

bool AmfReader::ReadValue(AmfValue& value, int depth) {
  std::uint32_t marker = 0;
  if (depth > kMaxDepth || m_valuesLeft == 0 || !ReadNumber(marker, 1)) return false;
  --m_valuesLeft;
  double number = 0;
  std::uint32_t integer = 0;
  std::string text;
  switch (marker) {
    case kNumberMarker:
      if (!ReadDouble(number)) return false;
      value = number;
      return true;
    case kBooleanMarker:
      if (!ReadNumber(integer, 1)) return false;
      value = integer != 0;
      return true;
    case kStringMarker:
    case kLongStringMarker:
      if (!ReadText(text, marker == kStringMarker ? 2 : 4)) return false;
      value = std::move(text);
      return true;
    case kNullMarker:
      value = AmfValue();
      return true;
    case kUndefinedMarker:
      value = AmfValue(AmfValue::Type::kUndefined);
      return true;
    case kObjectMarker:
      value = AmfValue(AmfValue::Type::kObject);
      return ReadEntries(value, depth);
    case kMixedArrayMarker:
      // Many files have a wrong count here. Only the end marker ends the array.
      value = AmfValue(AmfValue::Type::kMixedArray);
      return ReadNumber(integer, 4) && ReadEntries(value, depth);
    case kArrayMarker:
      value = AmfValue(AmfValue::Type::kArray);
      return ReadElements(value, depth);
    case kDateMarker:
      if (!ReadDouble(number) || !ReadNumber(integer, 2)) return false;
      value = AmfValue::Date(number, static_cast<std::int16_t>(integer));
      return true;
    default:
      return false;
  }
}

/// Accepts an outermost container without its end marker, because some files lack it.
bool AmfReader::ReadEntries(AmfValue& value, int depth) {
  while (!SkipEndMark()) {
    if (AtEnd()) return depth == 0;
    std::string name;
    AmfValue entry;
    if (!ReadText(name, 2)) return false;
    const bool isWhole = ReadValue(entry, depth + 1);
    if (isWhole || !entry.Entries().empty()) value.Append(std::move(name), std::move(entry));
    if (!isWhole) return false;
  }
  return true;
}

bool AmfReader::ReadElements(AmfValue& value, int depth) {
  std::uint32_t count = 0;
  if (!ReadNumber(count, 4)) return false;
  for (; count > 0; --count) {
    AmfValue element;
    if (!ReadValue(element, depth + 1)) return false;
    value.Append({}, std::move(element));
  }
  return true;
}

bool AmfReader::ReadNumber(std::uint32_t& number, std::size_t size) {
  if (m_bytes.size() < size) return false;
  number = 0;
  for (const std::uint8_t byte : m_bytes.first(size)) number = number << 8 | byte;
  m_bytes = m_bytes.subspan(size);
  return true;
}

bool AmfReader::ReadDouble(double& number) {
  std::uint32_t high = 0;
  std::uint32_t low = 0;
  if (m_bytes.size() < 8 || !ReadNumber(high, 4) || !ReadNumber(low, 4)) return false;
  number = std::bit_cast<double>(std::uint64_t{high} << 32 | low);
  return true;
}

bool AmfReader::ReadText(std::string& text, std::size_t lengthSize) {
  std::uint32_t length = 0;
  if (!ReadNumber(length, lengthSize) || m_bytes.size() < length) return false;
  text.assign(reinterpret_cast<const char*>(m_bytes.data()), length);
  m_bytes = m_bytes.subspan(length);
  return true;
}

bool AmfReader::SkipEndMark() {
  constexpr std::size_t kMarkSize = 3;  // an empty name and the end marker
  if (m_bytes.size() < kMarkSize || m_bytes[0] != 0 || m_bytes[1] != 0 || m_bytes[2] != kEndMarker) return false;
  m_bytes = m_bytes.subspan(kMarkSize);
  return true;
}

void WriteAmf(const AmfValue& value, std::vector<std::uint8_t>& bytes) {
  switch (value.GetType()) {
    case AmfValue::Type::kNumber:
      bytes.push_back(kNumberMarker);
      AppendDouble(bytes, value.Number());
      break;
    case AmfValue::Type::kBoolean:
      bytes.push_back(kBooleanMarker);
      bytes.push_back(value.Number() != 0 ? 1 : 0);
      break;
    case AmfValue::Type::kString: {
      const bool isLong = value.Text().size() > kMaxShortText;
      bytes.push_back(isLong ? kLongStringMarker : kStringMarker);
      AppendText(bytes, value.Text(), isLong ? 4 : 2);
      break;
    }
    case AmfValue::Type::kNull:
      bytes.push_back(kNullMarker);
      break;
    case AmfValue::Type::kUndefined:
      bytes.push_back(kUndefinedMarker);
      break;
    case AmfValue::Type::kObject:
      bytes.push_back(kObjectMarker);
      AppendEntries(bytes, value.Entries());
      break;
    case AmfValue::Type::kMixedArray:
      bytes.push_back(kMixedArrayMarker);
      // The count includes the end marker, so that a reader that stops at the count consumes the marker too.
      AppendNumber(bytes, value.Entries().size() + 1, 4);
      AppendEntries(bytes, value.Entries());
      break;
    case AmfValue::Type::kArray:
      bytes.push_back(kArrayMarker);
      AppendNumber(bytes, value.Entries().size(), 4);
      for (const AmfValue::Entry& entry : value.Entries()) WriteAmf(entry.value, bytes);
      break;
    case AmfValue::Type::kDate:
      bytes.push_back(kDateMarker);
      AppendDouble(bytes, value.Number());
      AppendNumber(bytes, static_cast<std::uint16_t>(value.Zone()), 2);
      break;
  }
}

std::size_t AmfSize(const AmfValue& value) {
  std::vector<std::uint8_t> bytes;
  WriteAmf(value, bytes);
  return bytes.size();
}

}  // namespace qbflv::flv
