// Bytes written as text, so that a table of cases shows what it feeds in.
#pragma once

#include <cstdint>
#include <string_view>
#include <vector>

namespace qbflv {

/// Words, separated by spaces: an even count of hex digits stands for its bytes; `=text` for a u16 length and the text;
/// `#1000` for a big-endian double.
std::vector<std::uint8_t> BytesOf(std::string_view text);

}  // namespace qbflv
