// Percent-encoding and -decoding of parts of a URL.
#pragma once

#include <string_view>

#include "plugin/util/string.h"

namespace qbflv {

/// What may stand in a part as it is, beside letters, digits and "-_.!~*'()".
inline constexpr std::string_view kQueryCharacters = ";/?:@&=+$,";
inline constexpr std::string_view kPathCharacters = ":@&=+$,/;";

// Both answer false, with result unchanged, when the memory cannot be had. text may be a part of result.

/// Replaces each byte that may not stand as it is by "%" and its two digits. "%" stays before two hexadecimal digits.
[[nodiscard]] bool Escape(std::string_view text, std::string_view partCharacters, CQBString& result);

/// Replaces each "%" and the two hexadecimal digits behind it by the byte they give, which may be NUL. Any other "%"
/// stays, and so does "+".
[[nodiscard]] bool Unescape(std::string_view text, CQBString& result);

}  // namespace qbflv
