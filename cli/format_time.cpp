// Formats times for the user.
#include "cli/format_time.h"

#include <fmt/format.h>

#include <algorithm>

namespace qbflv::cli {

std::string FormatTime(std::int64_t milliseconds) {
  const std::int64_t tenths = std::max<std::int64_t>(milliseconds, 0) / 100;
  const std::int64_t minutes = tenths / 600;
  const std::string end = fmt::format("{:02}.{}", tenths / 10 % 60, tenths % 10);
  if (minutes < 60) return fmt::format("{}:{}", minutes, end);
  return fmt::format("{}:{:02}:{}", minutes / 60, minutes % 60, end);
}

}  // namespace qbflv::cli
