// Conversions from floating point that are defined for every value a file can hold.
#pragma once

#include <cstdint>

namespace qbflv {

/// The value cut toward zero to a signed 64-bit integer, of which the low 32 bits count: so -4.0 gives 0xFFFFFFFC. 0
/// for what such an integer cannot hold: NaN, infinities, too large.
constexpr std::uint32_t TruncateToU32(double value) {
  constexpr double kTwoTo63 = 9223372036854775808.0;
  if (!(value >= -kTwoTo63 && value < kTwoTo63)) return 0;
  return static_cast<std::uint32_t>(static_cast<std::int64_t>(value));
}

}  // namespace qbflv
