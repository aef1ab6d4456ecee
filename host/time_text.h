// Parses times as users write them.
#pragma once

#include <cstdint>
#include <optional>
#include <string_view>

namespace qbflv::host {

/// Parses "5500" (ms), "5.5s", "0:05.5" (minutes and seconds) or "0:00:05.5" (with hours). Returns the time in ms;
/// ignores further digits. Returns nothing for any other text.
std::optional<std::uint64_t> ParseTime(std::string_view text);

}  // namespace qbflv::host
