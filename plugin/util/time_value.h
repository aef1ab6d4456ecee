// Parses times in URLs: days:hours:minutes:seconds.tenths, where only the seconds are required.
#pragma once

#include <cstdint>
#include <string_view>

namespace qbflv {

/// Returns the time in tenths of a second; 0 for more than three colons, or for a letter after the "." of the last
/// field. ToInteger converts the numbers. Sums wrap at 32 bits, so a negative time becomes a very late one.
[[nodiscard]] std::uint32_t ParseTimeValue(std::string_view text);

/// Returns the position of the first "$" after which the rest of the text is a time other than 0, or npos. Linear in
/// the length of the text, whatever the number of "$". REQUIRES: text is NUL-terminated.
[[nodiscard]] std::size_t FindStartTime(std::string_view text);

}  // namespace qbflv
