// Character classes, comparison and number conversion of text: ASCII only, so that no locale of the host process
// changes how a URL is read.
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

/// True for the empty text.
constexpr bool HoldsOnlyDigits(std::string_view text) { return std::ranges::all_of(text, IsDigit); }

/// At most count characters from position on. Where std::string_view::substr throws, the empty text: nothing in this
/// library throws.
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

/// The decimal number at the start of the text, as atol reads it: white space, a sign, digits; 0 without digits. A
/// number out of range, for which atol promises nothing, becomes the nearest one that a 32-bit property can hold: at
/// least -2147483648 and at most 4294967295. Its low 32 bits are what such a property takes.
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
