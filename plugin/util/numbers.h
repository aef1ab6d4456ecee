// Conversion from floating point that is defined for every value a file can contain.
#pragma once

#include <cstdint>

namespace qbflv {

/// Truncates toward zero to a signed 64-bit integer and returns its low 32 bits, so -4.0 gives 0xFFFFFFFC. Returns 0
/// for values that such an integer cannot hold: NaN, infinities and numbers out of range.
constexpr std::uint32_t TruncateToU32(double value) {
  constexpr double kTwoTo63 = 9223372036854775808.0;
  if (!(value >= -kTwoTo63 && value < kTwoTo63)) return 0;
  return static_cast<std::uint32_t>(static_cast<std::int64_t>(value));
}

}  // namespace qbflv
