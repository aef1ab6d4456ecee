// Takes entries out of a file's metadata that do not hold for what is made of the file.
#include "host/metadata_edit.h"

#include <algorithm>
#include <optional>

namespace qbflv::host {

namespace {

// AMF0 as published: each value is a marker and what belongs to it.
constexpr std::uint8_t kNumber = 0;
constexpr std::uint8_t kBoolean = 1;
constexpr std::uint8_t kString = 2;
constexpr std::uint8_t kObject = 3;
constexpr std::uint8_t kNull = 5;
constexpr std::uint8_t kUndefined = 6;
constexpr std::uint8_t kMixedArray = 8;
constexpr std::uint8_t kEndOfObject = 9;
constexpr std::uint8_t kArray = 10;
constexpr std::uint8_t kDate = 11;
constexpr std::uint8_t kLongString = 12;
constexpr int kDeepest = 64;

/// Walks over values. Once something does not fit, nothing does.
class Walker {
 public:
  explicit Walker(std::span<const std::uint8_t> bytes) : m_bytes(bytes) {}

  bool IsBroken() const { return m_broken; }
  std::size_t Position() const { return m_position; }
  bool AtEnd() const { return m_position == m_bytes.size(); }

  std::uint32_t Number(std::size_t count) {
    std::uint32_t value = 0;
    for (const std::uint8_t byte : Take(count)) value = value << 8 | byte;
    return value;
  }

  std::string_view Name() {
    const auto bytes = Take(Number(2));
    return {reinterpret_cast<const char*>(bytes.data()), bytes.size()};
  }

  void SkipValue(int depth = 0) {
    if (depth > kDeepest) m_broken = true;
    switch (Number(1)) {
      case kNumber:
        Take(8);
        break;
      case kBoolean:
        Take(1);
        break;
      case kString:
        Take(Number(2));
        break;
      case kLongString:
        Take(Number(4));
        break;
      case kDate:
        Take(10);
        break;
      case kNull:
      case kUndefined:
        break;
      case kMixedArray:
        Take(4);
        [[fallthrough]];
      case kObject:
        while (!m_broken && !SkipEnd()) {
          Name();
          SkipValue(depth + 1);
        }
        break;
      case kArray:
        for (std::uint32_t left = Number(4); left > 0 && !m_broken; --left) SkipValue(depth + 1);
        break;
      default:
        m_broken = true;
    }
  }

  /// Steps over the mark behind the last entry, if it stands here.
  bool SkipEnd() {
    const auto left = m_bytes.subspan(m_position);
    if (left.size() < 3 || left[0] != 0 || left[1] != 0 || left[2] != kEndOfObject) return false;
    m_position += 3;
    return true;
  }

 private:
  std::span<const std::uint8_t> Take(std::size_t count) {
    if (m_broken || count > m_bytes.size() - m_position) {
      m_broken = true;
      return {};
    }
    m_position += count;
    return m_bytes.subspan(m_position - count, count);
  }

  std::span<const std::uint8_t> m_bytes;
  std::size_t m_position = 0;
  bool m_broken = false;
};

void Append(std::vector<std::uint8_t>& to, std::span<const std::uint8_t> bytes) {
  to.insert(to.end(), bytes.begin(), bytes.end());
}

}  // namespace

std::vector<std::uint8_t> WithoutEntries(std::span<const std::uint8_t> body, std::span<const std::string_view> names) {
  Walker walker(body);
  walker.SkipValue();  // the name of the whole, as "onMetaData"
  const std::uint32_t marker = walker.Number(1);
  if (walker.IsBroken() || (marker != kMixedArray && marker != kObject)) return {};
  std::uint32_t count = marker == kMixedArray ? walker.Number(4) : 0;
  const std::size_t countEnd = walker.Position();
  std::vector<std::uint8_t> entries;
  // Some files leave the last mark out.
  while (!walker.IsBroken() && !walker.AtEnd() && !walker.SkipEnd()) {
    const std::size_t begin = walker.Position();
    const std::string_view name = walker.Name();
    walker.SkipValue();
    if (std::ranges::find(names, name) == names.end()) {
      if (!walker.IsBroken()) Append(entries, body.subspan(begin, walker.Position() - begin));
    } else if (count > 0) {
      --count;
    }
  }
  if (walker.IsBroken()) return {};

  std::vector<std::uint8_t> edited(body.begin(), body.begin() + static_cast<std::ptrdiff_t>(countEnd));
  if (marker == kMixedArray) {
    for (std::size_t i = 0; i < 4; ++i) edited[countEnd - 1 - i] = static_cast<std::uint8_t>(count >> 8 * i);
  }
  Append(edited, entries);
  Append(edited, std::initializer_list<std::uint8_t>{0, 0, kEndOfObject});
  return edited;
}

}  // namespace qbflv::host
