// Character classes, comparison and number conversion of text. They know ASCII only, so that the locale of the host
// process does not change how a URL is parsed.
#pragma once

#include <algorithm>
#include <cstdint>
#include <string_view>

namespace qbflv {

constexpr bool IsDigit(char c) { return c >= '0' && c <= '9'; }
constexpr bool IsLetter(char c) { return (c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z'); }
constexpr bool IsWhiteSpace(char c) { return c == ' ' || (c >= '\t' && c <= '\r'); }
constexpr char ToLower(char c) { return c >= 'A' && c <= 'Z' ? static_cast<char>(c - 'A' + 'a') : c; }

/// The value of a hexadecimal digit of either case, or -1.
constexpr int HexDigitValue(char c) {
  if (IsDigit(c)) return c - '0';
  const char lower = ToLower(c);
  return lower >= 'a' && lower <= 'f' ? lower - 'a' + 10 : -1;
}

constexpr bool EqualsIgnoringCase(std::string_view left, std::string_view right) {
  return std::ranges::equal(left, right, [](char a, char b) { return ToLower(a) == ToLower(b); });
}

/// Returns true for the empty text.
constexpr bool HoldsOnlyDigits(std::string_view text) { return std::ranges::all_of(text, IsDigit); }

/// Returns at most count characters from position on. Returns an empty view where std::string_view::substr throws.
constexpr std::string_view Slice(std::string_view text, std::size_t position, std::size_t count = SIZE_MAX) {
  text.remove_prefix(std::min(position, text.size()));
  text.remove_suffix(text.size() - std::min(count, text.size()));
  return text;
}

constexpr std::string_view TrimLeft(std::string_view text) {
  while (!text.empty() && IsWhiteSpace(text.front())) text.remove_prefix(1);
  return text;
}

constexpr std::string_view TrimRight(std::string_view text) {
  while (!text.empty() && IsWhiteSpace(text.back())) text.remove_suffix(1);
  return text;
}

constexpr std::string_view Trim(std::string_view text) { return TrimLeft(TrimRight(text)); }

/// Parses the decimal number at the start of the text like atol: white space, a sign, digits; 0 without digits. Clamps
/// a number out of range, for which atol is undefined, to -2147483648 or 4294967295. A 32-bit property takes the low 32
/// bits of the result.
constexpr std::int64_t ToInteger(std::string_view text) {
  constexpr std::int64_t kSmallest = INT32_MIN;
  constexpr std::int64_t kLargest = UINT32_MAX;
  text = TrimLeft(text);
  const bool negative = text.starts_with('-');
  if (negative || text.starts_with('+')) text.remove_prefix(1);
  std::int64_t magnitude = 0;
  for (const char c : text) {
    if (!IsDigit(c)) break;
    magnitude = std::min(magnitude * 10 + (c - '0'), kLargest);
  }
  return negative ? std::max(-magnitude, kSmallest) : magnitude;
}

}  // namespace qbflv
