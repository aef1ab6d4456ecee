// Parses and writes the arguments of a film's URL: ?start=61.5&end=90&info
#include "nginx/playback/address.h"

#include <fmt/format.h>

#include <algorithm>
#include <charconv>
#include <limits>

#include "host/time_text.h"

namespace qbflv::server {

namespace {

/// Removes the first argument from the rest and returns it.
std::string_view TakeArgument(std::string_view& rest) {
  const std::size_t size = rest.find('&');
  const std::string_view argument = rest.substr(0, size);
  rest.remove_prefix(size == std::string_view::npos ? rest.size() : size + 1);
  return argument;
}

std::string Unescape(std::string_view text) {
  std::string plain;
  for (std::size_t i = 0; i < text.size(); ++i) {
    std::uint8_t byte = 0;
    const char* const digits = text.data() + i + 1;
    if (text[i] != '%' || i + 2 >= text.size() || std::from_chars(digits, digits + 2, byte, 16).ptr != digits + 2) {
      plain += text[i];
      continue;
    }
    plain += static_cast<char>(byte);
    i += 2;
  }
  return plain;
}

bool ParseSeconds(std::string_view escaped, std::optional<std::uint32_t>& time) {
  const std::string text = Unescape(escaped);
  const bool hasColon = text.find(':') != std::string::npos;
  const auto parsed = host::ParseTime(hasColon ? text : text + "s");
  if (!parsed || text.ends_with('s')) return false;
  constexpr std::uint64_t kMaxTime = std::numeric_limits<std::uint32_t>::max();
  time = static_cast<std::uint32_t>(std::min(*parsed, kMaxTime));
  return true;
}

constexpr std::string_view kStart = "start=";
constexpr std::string_view kEnd = "end=";

}  // namespace

std::optional<Address> ParseAddress(std::string_view arguments) {
  Address address;
  while (!arguments.empty()) {
    const std::string_view argument = TakeArgument(arguments);
    bool isRight = true;
    if (argument.starts_with(kStart)) isRight = ParseSeconds(argument.substr(kStart.size()), address.start);
    if (argument.starts_with(kEnd)) isRight = ParseSeconds(argument.substr(kEnd.size()), address.end);
    if (argument == "info" || argument.starts_with("info=")) address.wantsInfo = true;
    if (!isRight) return std::nullopt;
  }
  return address;
}

std::string SecondsText(std::uint32_t milliseconds) {
  std::string text = fmt::format("{}.{:03}", milliseconds / 1000, milliseconds % 1000);
  text.erase(text.find_last_not_of('0') + 1);
  if (text.ends_with('.')) text.pop_back();
  return text;
}

std::string WithStart(std::string_view arguments, std::uint32_t start) {
  std::string result = start == 0 ? "" : std::string(kStart) + SecondsText(start);
  while (!arguments.empty()) {
    const std::string_view argument = TakeArgument(arguments);
    if (argument.empty() || argument.starts_with(kStart)) continue;
    if (!result.empty()) result += '&';
    result += argument;
  }
  return result;
}

}  // namespace qbflv::server
