// Parses times as users write them.
#include "host/time_text.h"

#include <algorithm>
#include <charconv>
#include <string>
#include <system_error>

namespace qbflv::host {

namespace {

/// Parses decimal digits only. Returns at most 10^10, so that ParseTime cannot overflow; as ms, that exceeds 32 bits.
std::optional<std::uint64_t> ParseDigits(std::string_view text) {
  constexpr std::uint64_t kMax = 10'000'000'000;
  if (text.empty() || text.find_first_not_of("0123456789") != std::string_view::npos) return std::nullopt;
  std::uint64_t value = 0;
  const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), value);
  return error == std::errc::result_out_of_range ? kMax : std::min(value, kMax);
}

/// Parses "5" or "5.25". Returns ms.
std::optional<std::uint64_t> ParseSeconds(std::string_view text) {
  const std::size_t point = text.find('.');
  const auto seconds = ParseDigits(text.substr(0, point));
  if (!seconds || point == std::string_view::npos) return seconds ? std::optional(*seconds * 1000) : std::nullopt;
  const std::string_view fraction = text.substr(point + 1);
  if (!ParseDigits(fraction)) return std::nullopt;
  return *seconds * 1000 + *ParseDigits((std::string(fraction) + "00").substr(0, 3));
}

}  // namespace

std::optional<std::uint64_t> ParseTime(std::string_view text) {
  constexpr std::uint64_t kMinute = 60 * 1000;
  if (text.ends_with('s')) return ParseSeconds(text.substr(0, text.size() - 1));
  const std::size_t lastColon = text.rfind(':');
  if (lastColon == std::string_view::npos) return ParseDigits(text);

  const std::size_t firstColon = text.find(':');
  const bool hasHours = firstColon != lastColon;
  const auto hours = hasHours ? ParseDigits(text.substr(0, firstColon)) : 0;
  const std::size_t minuteStart = hasHours ? firstColon + 1 : 0;
  const auto minutes = ParseDigits(text.substr(minuteStart, lastColon - minuteStart));
  const auto seconds = ParseSeconds(text.substr(lastColon + 1));
  if (!hours || !minutes || !seconds || *seconds >= kMinute || (hasHours && *minutes >= 60)) return std::nullopt;
  return (*hours * 60 + *minutes) * kMinute + *seconds;
}

}  // namespace qbflv::host
