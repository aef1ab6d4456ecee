// Numbers from floating point and from bits, and numbers and times from texts. The url fuzzer compares times, and the
// search for a start time, with plain models.
#include "plugin/util/numbers.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <limits>
#include <span>
#include <string>
#include <utility>
#include <vector>

#include "plugin/util/byte_cursor.h"
#include "plugin/util/text.h"
#include "plugin/util/time_value.h"

namespace qbflv {
namespace {

constexpr double kInfinity = std::numeric_limits<double>::infinity();

/// Among them the neighbours of the bounds of 64 bits.
constexpr std::pair<double, std::uint32_t> kTruncated[] = {
    {12345.6, 12345},
    {-0.999999, 0},
    {-4.0, 0xFFFFFFFC},
    {4294967303.5, 7},
    {9223372036854774784.0, 0xFFFFFC00},
    {9223372036854775808.0, 0},
    {-9223372036854774784.0, 0x400},
    {-9223372036854775808.0, 0},
    {-9223372036854777856.0, 0},
    {kInfinity, 0},
    {-kInfinity, 0},
    {std::numeric_limits<double>::quiet_NaN(), 0},
};
// A conversion without a defined result does not compile.
static_assert(std::ranges::all_of(kTruncated, [](const auto& row) { return TruncateToU32(row.first) == row.second; }));

TEST(ToInteger, Texts_ReadAsByAtolWithinTheRangeOfA32BitProperty) {
  const std::pair<const char*, std::int64_t> cases[] = {
      {"", 0},
      {"x1", 0},
      {" \t\r\n\v\f+12.9", 12},
      {"-7x", -7},
      {"- 7", 0},
      {"+-7", 0},
      {"0012", 12},
      {"\xB2", 0},
      {"4294967295", 4294967295},
      {"99999999999999999999999999", 4294967295},
      {"-2147483648", -2147483648LL},
      {"-99999999999999999999999999", -2147483648LL},
  };
  for (const auto& [text, value] : cases) EXPECT_EQ(ToInteger(text), value) << text;
}

TEST(ReadBits, BeyondTheBytesOrTheByte_ReadsNothing) {
  const std::vector<std::uint8_t> bytes(5, 0xFF);
  const struct {
    std::size_t size;
    std::uint32_t position;
    std::uint32_t count;
    Status status;
  } cases[] = {{0, 7, 0, kFailed},  {0, 3, 1, kFailed},  {5, 8, 1, kFailed}, {5, 7, 33, kFailed},
               {3, 7, 25, kFailed}, {3, 6, 24, kFailed}, {3, 7, 24, kOk},    {5, 7, 32, kOk}};
  for (const auto& row : cases) {
    ByteCursor cursor(std::span<const std::uint8_t>(bytes).first(row.size));
    std::uint32_t position = row.position;
    std::uint32_t value = 0;
    EXPECT_EQ(row.status, ReadBits(cursor, position, row.count, value)) << row.size << " " << row.count;
    EXPECT_EQ(Failed(row.status) ? row.size : row.size - row.count / 8, cursor.remaining) << row.count;
  }
}

TEST(TimeValue, Forms_GiveTenthsOfASecond) {
  const std::pair<const char*, std::uint32_t> cases[] = {
      {"", 0},          {"abc", 0},         {"90", 900},   {"1:30.579", 905},           {"1:30.5s", 0},
      {"1:30s.5", 905}, {"1:30.-7", 907},   {".5", 5},     {"1:2:3:4.5", 937845},       {"0:1:00:00:00", 0},
      {" 1: +2", 620},  {"-1", 0xFFFFFFF6}, {"1:-1", 590}, {"429496729.5", 4294967295}, {"429496729.6", 0},
  };
  for (const auto& [text, tenths] : cases) EXPECT_EQ(ParseTimeValue(text), tenths) << text;
}

/// The plain search at every sign, which the fuzzer compares with, would take hours here.
TEST(TimeValue, StartTimeSearchInLongHostileTexts_ComesToAnEnd) {
  const std::string signs(1'000'000, '$');
  const std::string zeros(1'000'000, '0');
  for (const std::string& end : {std::string(), ":" + zeros, "." + zeros, zeros + "x", zeros + ".x", ":::" + signs}) {
    EXPECT_EQ(FindStartTime(signs + end), std::string::npos) << end.substr(0, 5);
  }
  EXPECT_EQ(FindStartTime(signs + zeros + "7"), signs.size() - 1);
}

}  // namespace
}  // namespace qbflv
