// Conversions from floating point.
#include "plugin/util/numbers.h"

#include <gtest/gtest.h>

#include <limits>

namespace qbflv {
namespace {

TEST(TruncateToU32, EveryDouble_HasADefinedResult) {
  struct Case {
    double value;
    std::uint32_t result;
  };
  constexpr double kInfinity = std::numeric_limits<double>::infinity();
  constexpr Case kCases[] = {
      {0.0, 0},
      {-0.0, 0},
      {12345.6, 12345},
      {0.999999, 0},
      {-0.999999, 0},
      {-4.0, 0xFFFFFFFC},
      {-1.5, 0xFFFFFFFF},
      {4294967295.0, 0xFFFFFFFF},
      {4294967296.0 + 7.5, 7},
      {-4294967296.0 - 1.0, 0xFFFFFFFF},
      // The neighbours of the bounds of 64 bits.
      {9223372036854774784.0, 0xFFFFFC00},
      {9223372036854775808.0, 0},
      {-9223372036854775808.0, 0},
      {-9223372036854774784.0, 0x400},
      {-9223372036854777856.0, 0},
      {1e300, 0},
      {-1e300, 0},
      {kInfinity, 0},
      {-kInfinity, 0},
      {std::numeric_limits<double>::quiet_NaN(), 0},
      {std::numeric_limits<double>::denorm_min(), 0},
  };
  for (const Case& row : kCases) EXPECT_EQ(row.result, TruncateToU32(row.value)) << row.value;
}

}  // namespace
}  // namespace qbflv
