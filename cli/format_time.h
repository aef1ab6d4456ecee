// Formats times for the user.
#pragma once

#include <cstdint>
#include <string>

namespace qbflv::cli {

/// Returns a time such as "1:02:03.4", or "2:03.4" for less than an hour.
std::string FormatTime(std::int64_t milliseconds);

}  // namespace qbflv::cli
