// Times in URLs. The url fuzzer compares them, and the search for a start time, with plain models.
#include "plugin/util/time_value.h"

#include <gtest/gtest.h>

#include <string>

namespace qbflv {
namespace {

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
