#include "plugin/util/time_value.h"

#include <algorithm>

#include "plugin/platform/platform.h"
#include "plugin/util/text.h"

namespace qbflv {

namespace {

constexpr std::size_t kMaxColons = 3;

/// Parses the suffix of a text that starts at each queried position; positions must ascend. The constructor finds what
/// all suffixes share (the last colons, the numbers after them, the last letter), and the searches from a position
/// continue where the previous one ended. All queries together are therefore linear in the length of the text, also
/// for a malicious text.
class SuffixTimes {
 public:
  explicit SuffixTimes(std::string_view text) : m_text(text) {
    std::size_t end = text.size();
    while (m_colonCount <= kMaxColons) {
      end = Slice(text, 0, end).rfind(':');
      if (end == std::string_view::npos) break;
      m_colons[m_colonCount] = end;
      if (m_colonCount < kMaxColons) m_numbers[m_colonCount] = NumberAt(end + 1);
      ++m_colonCount;
    }
    const auto lastLetter = std::find_if(text.rbegin(), text.rend(), IsLetter);
    m_lettersEnd = static_cast<std::size_t>(text.rend() - lastLetter);
  }

  /// Returns the time in tenths of a second. REQUIRES: position is not less than in the previous call.
  std::uint32_t From(std::size_t position) {
    std::size_t colons = 0;
    while (colons < m_colonCount && m_colons[colons] >= position) ++colons;
    if (colons > kMaxColons) return 0;

    std::uint32_t value = NumberAt(position);
    for (std::size_t left = colons; left > 0; --left) {
      value = value * (left == kMaxColons ? 24 : 60) + m_numbers[left - 1];
    }
    value *= 10;

    const std::size_t dot = Advance(m_dot, colons > 0 ? m_colons[0] + 1 : position, [](char c) { return c == '.'; });
    if (dot == m_text.size()) return value;
    if (m_lettersEnd > dot + 1) return 0;
    const std::size_t digit = Advance(m_digit, dot + 1, IsDigit);
    return digit == m_text.size() ? value : value + static_cast<std::uint32_t>(m_text[digit] - '0');
  }

 private:
  [[nodiscard]] std::uint32_t NumberAt(std::size_t position) const {
    return static_cast<std::uint32_t>(ToInteger(Slice(m_text, position)));
  }

  /// Advances cursor to the first match at or after position, or to the end.
  template <typename Predicate>
  std::size_t Advance(std::size_t& cursor, std::size_t position, Predicate matches) const {
    cursor = std::max(cursor, position);
    while (cursor < m_text.size() && !matches(m_text[cursor])) ++cursor;
    return cursor;
  }

  std::string_view m_text;
  /// The last colons of the text, last one first, and the numbers after them.
  std::size_t m_colons[kMaxColons + 1] = {};
  std::uint32_t m_numbers[kMaxColons] = {};
  std::size_t m_colonCount = 0;
  /// Position after the last letter; 0 if there is none.
  std::size_t m_lettersEnd = 0;
  std::size_t m_dot = 0;
  std::size_t m_digit = 0;
};

}  // namespace

std::uint32_t ParseTimeValue(std::string_view text) { return SuffixTimes(text).From(0); }

std::size_t FindStartTime(std::string_view text) {
  SuffixTimes times(text);
  const char* const end = text.data() + text.size();
  for (const char* character = text.data(); character < end; character = platform::NextCharacter(character)) {
    if (*character != '$') continue;
    const auto position = static_cast<std::size_t>(character - text.data());
    if (times.From(position + 1) != 0) return position;
  }
  return std::string_view::npos;
}

}  // namespace qbflv
