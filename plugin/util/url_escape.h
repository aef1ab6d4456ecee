// Percent-encoding and percent-decoding of parts of a URL.
#pragma once

#include <string_view>

#include "plugin/util/string.h"

namespace qbflv {

/// The characters that a part may contain unencoded, besides letters, digits and "-_.!~*'()".
inline constexpr std::string_view kQueryCharacters = ";/?:@&=+$,";
inline constexpr std::string_view kPathCharacters = ":@&=+$,/;";

// Both functions return false and leave result unchanged on allocation failure. text may be a part of result.

/// Replaces each byte that needs encoding with "%" and two hexadecimal digits. Keeps "%" before two hexadecimal digits.
[[nodiscard]] bool Escape(std::string_view text, std::string_view partCharacters, CQBString& result);

/// Replaces each "%" and the two hexadecimal digits after it with that byte, which may be NUL. Keeps any other "%", and
/// "+".
[[nodiscard]] bool Unescape(std::string_view text, CQBString& result);

}  // namespace qbflv
