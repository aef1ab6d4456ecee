#include "plugin/util/url_escape.h"

#include <algorithm>

#include "plugin/util/text.h"

namespace qbflv {

namespace {

constexpr std::size_t kEscapeLength = 3;

bool StartsWithEscape(std::string_view text) {
  return text.size() >= kEscapeLength && text[0] == '%' && HexDigitValue(text[1]) >= 0 && HexDigitValue(text[2]) >= 0;
}

char DecodeEscape(std::string_view text) {
  return static_cast<char>(HexDigitValue(text[1]) * 16 + HexDigitValue(text[2]));
}

bool AppendEscape(char character, CQBString& result) {
  constexpr char kDigits[] = "0123456789ABCDEF";
  const auto byte = static_cast<unsigned char>(character);
  const char escape[kEscapeLength] = {'%', kDigits[byte / 16], kDigits[byte % 16]};
  return result.Append(std::string_view(escape, kEscapeLength));
}

/// Returns the length of the prefix that needs no encoding.
std::size_t AllowedLength(std::string_view text, std::string_view partCharacters) {
  constexpr std::string_view kMarks = "-_.!~*'()";
  const auto allowed = [&](char c) {
    return IsLetter(c) || IsDigit(c) || kMarks.find(c) != std::string_view::npos ||
           partCharacters.find(c) != std::string_view::npos;
  };
  std::size_t length = 0;
  while (length < text.size()) {
    if (allowed(text[length])) {
      ++length;
    } else if (StartsWithEscape(Slice(text, length))) {
      length += kEscapeLength;
    } else {
      break;
    }
  }
  return length;
}

}  // namespace

bool Escape(std::string_view text, std::string_view partCharacters, CQBString& result) {
  CQBString escaped;
  while (!text.empty()) {
    const std::size_t allowed = AllowedLength(text, partCharacters);
    if (!escaped.Append(Slice(text, 0, allowed))) return false;
    text.remove_prefix(allowed);
    if (text.empty()) break;
    if (!AppendEscape(text.front(), escaped)) return false;
    text.remove_prefix(1);
  }
  result = std::move(escaped);
  return true;
}

bool Unescape(std::string_view text, CQBString& result) {
  CQBString decoded;
  while (!text.empty()) {
    const bool escape = StartsWithEscape(text);
    const std::size_t length = escape ? kEscapeLength : std::min(text.find('%', 1), text.size());
    const bool appended = escape ? decoded.Append(DecodeEscape(text)) : decoded.Append(Slice(text, 0, length));
    if (!appended) return false;
    text.remove_prefix(length);
  }
  result = std::move(decoded);
  return true;
}

}  // namespace qbflv
