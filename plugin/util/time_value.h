// Times as URLs write them: days:hours:minutes:seconds.tenths, of which only the seconds must be there.
#pragma once

#include <cstdint>
#include <string_view>

namespace qbflv {

/// The time in tenths of a second; 0 for more than three colons, and for a letter behind the "." of the last field.
/// Numbers are read as ToInteger does; sums wrap at 32 bits, so a negative time is a very late one.
[[nodiscard]] std::uint32_t ParseTimeValue(std::string_view text);

/// Position of the first "$" whose following text, to its end, is a time other than 0; npos when there is none. Linear
/// in the length of the text, however many "$" it holds. text must be NUL-terminated.
[[nodiscard]] std::size_t FindStartTime(std::string_view text);

}  // namespace qbflv
