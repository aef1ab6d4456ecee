// Times on the command line.
#include "cli/time_option.h"

#include <fmt/format.h>

#include <limits>

#include "host/time_text.h"

namespace qbflv::cli {

namespace {

std::string ReplaceTime(std::string& text) {
  constexpr std::uint64_t kMax = std::numeric_limits<std::uint32_t>::max();
  const auto time = host::ParseTime(text);
  if (!time) return fmt::format("expected a time such as 5500, 5.5s, 1:23 or 1:02:03.5 instead of '{}'", text);
  if (*time > kMax) return fmt::format("expected a time from 0 to {} ms (1193:02:47.295) instead of '{}'", kMax, text);
  text = std::to_string(*time);
  return {};
}

}  // namespace

void AddTimeOption(CLI::App& parser, const std::string& name, std::optional<std::uint32_t>& time,
                   const std::string& description) {
  parser.add_option(name, time, description)->type_name("TIME")->transform(TimeToMilliseconds());
}

CLI::Validator TimeToMilliseconds() { return {ReplaceTime, ""}; }

}  // namespace qbflv::cli
