// The arguments of a film's address: ?start=61.5&end=90&info
#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

namespace qbflv::server {

struct Address {
  /// In ms. Empty if there is none.
  std::optional<std::uint32_t> start;
  std::optional<std::uint32_t> end;
  bool wantsInfo = false;
};

/// arguments: what follows the "?"; times are in seconds ("61.5") or with minutes and hours ("1:01.5"). Empty if a time
/// cannot be read.
std::optional<Address> ParseAddress(std::string_view arguments);

/// In seconds without needless digits: "61.5".
std::string SecondsText(std::uint32_t milliseconds);

/// The arguments with this start, or without any for 0; the others stay as they are.
std::string WithStart(std::string_view arguments, std::uint32_t start);

}  // namespace qbflv::server
