// Numbers: from floating point, from texts, and from bits.
#include "plugin/util/numbers.h"

#include <gtest/gtest.h>

#include <limits>
#include <utility>

#include "plugin/util/byte_cursor.h"
#include "plugin/util/text.h"

namespace qbflv {
namespace {

TEST(TruncateToU32, EveryDouble_HasADefinedResult) {
  constexpr double kInfinity = std::numeric_limits<double>::infinity();
  // Among them the neighbours of the bounds of 64 bits.
  const std::pair<double, std::uint32_t> cases[] = {{12345.6, 12345},
                                                    {-0.999999, 0},
                                                    {-4.0, 0xFFFFFFFC},
                                                    {-1.5, 0xFFFFFFFF},
                                                    {4294967303.5, 7},
                                                    {-4294967297.0, 0xFFFFFFFF},
                                                    {9223372036854774784.0, 0xFFFFFC00},
                                                    {9223372036854775808.0, 0},
                                                    {-9223372036854774784.0, 0x400},
                                                    {-9223372036854775808.0, 0},
                                                    {-9223372036854777856.0, 0},
                                                    {kInfinity, 0},
                                                    {-kInfinity, 0},
                                                    {std::numeric_limits<double>::quiet_NaN(), 0}};
  for (const auto& [value, result] : cases) EXPECT_EQ(result, TruncateToU32(value)) << value;
}

TEST(ToInteger, Texts_ReadAsByAtolWithinTheRangeOfA32BitProperty) {
  const std::pair<const char*, std::int64_t> cases[] = {{"", 0},
                                                        {"x1", 0},
                                                        {" \t\r\n\v\f+12.9", 12},
                                                        {"-7x", -7},
                                                        {"- 7", 0},
                                                        {"+-7", 0},
                                                        {"0012", 12},
                                                        {"\xB2", 0},
                                                        {"4294967295", 4294967295},
                                                        {"4294967296", 4294967295},
                                                        {"99999999999999999999999999", 4294967295},
                                                        {"-2147483648", -2147483648LL},
                                                        {"-99999999999999999999999999", -2147483648LL}};
  for (const auto& [text, value] : cases) EXPECT_EQ(ToInteger(text), value) << text;
}

/// The values show in the picture sizes of video headers.
TEST(ReadBits, UpToTheLastBit_AreReadAndNotBeyond) {
  const std::uint8_t bytes[5] = {};
  const struct {
    std::uint32_t remaining;
    std::uint32_t position;
    std::uint32_t count;
    Status status;
  } cases[] = {{5, 3, 32, kOk},     {1, 0, 1, kOk},     {1, 2, 3, kOk},     {1, 7, 8, kOk},
               {1, 7, 0, kOk},      {1, 2, 4, kFailed}, {1, 0, 2, kFailed}, {2, 7, 17, kFailed},
               {5, 7, 33, kFailed}, {5, 8, 1, kFailed}, {0, 7, 0, kFailed}};
  for (const auto& row : cases) {
    ByteCursor cursor{std::span(bytes).first(row.remaining)};
    std::uint32_t position = row.position;
    std::uint32_t value = 99;
    EXPECT_EQ(row.status, ReadBits(cursor, position, row.count, value)) << row.count << " of " << row.remaining;
    EXPECT_EQ(row.status == kOk ? 0 : 99, value) << row.count << " of " << row.remaining;
  }
}

}  // namespace
}  // namespace qbflv
