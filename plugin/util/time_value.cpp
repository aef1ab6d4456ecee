#include "plugin/util/time_value.h"

#include <algorithm>

#include "plugin/platform/platform.h"
#include "plugin/util/text.h"

namespace qbflv {

namespace {

constexpr std::size_t kMaxColons = 3;

/// Answers, for one text and ascending positions, the time that the text from a position to its end is. All of these
/// texts end alike: what that end says (the last colons, the numbers behind them, the last letter) is found out once,
/// and the searches that start at a position only ever move on. So asking at every position of a long hostile text
/// costs no more than reading it a few times.
class TimesToTheEnd {
 public:
  explicit TimesToTheEnd(std::string_view text) : m_text(text) {
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

  /// position must not be less than that of the call before.
  std::uint32_t From(std::size_t position) {
    std::size_t colons = 0;
    while (colons < m_colonCount && m_colons[colons] >= position) ++colons;
    if (colons > kMaxColons) return 0;

    std::uint32_t value = NumberAt(position);
    for (std::size_t left = colons; left > 0; --left) {
      value = value * (left == kMaxColons ? 24 : 60) + m_numbers[left - 1];
    }
    value *= 10;

    const std::size_t dot = MoveTo(m_dot, colons > 0 ? m_colons[0] + 1 : position, [](char c) { return c == '.'; });
    if (dot == m_text.size()) return value;
    if (m_lettersEnd > dot + 1) return 0;
    const std::size_t digit = MoveTo(m_digit, dot + 1, IsDigit);
    return digit == m_text.size() ? value : value + static_cast<std::uint32_t>(m_text[digit] - '0');
  }

 private:
  [[nodiscard]] std::uint32_t NumberAt(std::size_t position) const {
    return static_cast<std::uint32_t>(ToInteger(Slice(m_text, position)));
  }

  /// Moves cursor to the first character of the kind at or behind position, or to the end.
  template <typename Kind>
  std::size_t MoveTo(std::size_t& cursor, std::size_t position, Kind kind) const {
    cursor = std::max(cursor, position);
    while (cursor < m_text.size() && !kind(m_text[cursor])) ++cursor;
    return cursor;
  }

  std::string_view m_text;
  /// The last colons of the text, the last one first, and the numbers behind them.
  std::size_t m_colons[kMaxColons + 1] = {};
  std::uint32_t m_numbers[kMaxColons] = {};
  std::size_t m_colonCount = 0;
  /// Position behind the last letter; 0 when there is none.
  std::size_t m_lettersEnd = 0;
  std::size_t m_dot = 0;
  std::size_t m_digit = 0;
};

}  // namespace

std::uint32_t ParseTimeValue(std::string_view text) { return TimesToTheEnd(text).From(0); }

std::size_t FindStartTime(std::string_view text) {
  TimesToTheEnd times(text);
  const char* const end = text.data() + text.size();
  for (const char* character = text.data(); character < end; character = platform::NextCharacter(character)) {
    if (*character != '$') continue;
    const auto position = static_cast<std::size_t>(character - text.data());
    if (times.From(position + 1) != 0) return position;
  }
  return std::string_view::npos;
}

}  // namespace qbflv
