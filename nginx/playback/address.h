// Parses and writes the arguments of a film's URL: ?start=61.5&end=90&info
#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

namespace qbflv::server {

struct Address {
  /// Both in ms. Empty if the argument is absent.
  std::optional<std::uint32_t> start;
  std::optional<std::uint32_t> end;
  bool wantsInfo = false;
};

/// Parses the part of a URL after the "?". Times are in seconds ("61.5"), or with minutes and hours ("1:01.5"). Returns
/// an empty value if a time is malformed.
std::optional<Address> ParseAddress(std::string_view arguments);

/// Returns the time in seconds without trailing zeros: "61.5".
std::string SecondsText(std::uint32_t milliseconds);

/// Returns the arguments with this start time in ms in place of the old one, or without a start time if it is 0.
std::string WithStart(std::string_view arguments, std::uint32_t start);

}  // namespace qbflv::server
