// Times in URLs, and the search for a start time in short form.
#include "plugin/util/time_value.h"

#include <gtest/gtest.h>

#include <random>
#include <string>

namespace qbflv {
namespace {

TEST(TimeValue, Forms_GiveTenthsOfASecond) {
  struct {
    const char* text;
    std::uint32_t tenths;
  } const cases[] = {
      {"", 0},
      {"abc", 0},
      {"90", 900},
      {"1:30", 900},
      {"1:30.5", 905},
      {"1:30.", 900},
      {"1:30.579", 905},
      {"1:30.5s", 0},
      {"1:30.s5", 0},
      {"1:30s.5", 905},
      {"1:30s", 900},
      {"1.5:30", 900},
      {"1:30.5.7", 905},
      {"1:30.-7", 907},
      {".5", 5},
      {"1:0:0", 36000},
      {"1:00:00:00", 864000},
      {"1:2:3:4.5", 937845},
      {"::::", 0},
      {"0:1:00:00:00", 0},
      {":::7", 70},
      {"1:", 600},
      {" 1: +2", 620},
      {"100:100", 61000},
      {"-1", 0xFFFFFFF6},
      {"1:-1", 590},
      {"429496729.5", 4294967295},
      {"429496729.6", 0},
  };
  for (const auto& c : cases) EXPECT_EQ(ParseTimeValue(c.text), c.tenths) << c.text;
}

TEST(TimeValue, StartTimeSearch_FindsTheFirstSignBeforeATimeOtherThanZero) {
  constexpr std::size_t kNone = std::string_view::npos;
  struct {
    const char* text;
    std::size_t position;
  } const cases[] = {
      {"clip.flv", kNone}, {"clip.flv$1:30", 8},  {"$90", 0},        {"clip$", kNone}, {"a$0", kNone}, {"a$b$5", 3},
      {"a$5$7", 1},        {"$1:2:3:4:5", kNone}, {"$1:2$3:4:5", 0},
  };
  for (const auto& c : cases) EXPECT_EQ(FindStartTime(c.text), c.position) << c.text;
}

/// What is asked in one pass must be what asking at every sign gives.
TEST(TimeValue, StartTimeSearchInRandomTexts_AgreesWithAskingAtEverySign) {
  constexpr char kAlphabet[] = {'$', '$', ':', '.', '0', '1', '9', 'x', ' ', '-'};
  std::mt19937 random(11);
  std::size_t found = 0;
  for (int round = 0; round < 20000; ++round) {
    std::string text;
    for (std::size_t length = random() % 14; length > 0; --length) text += kAlphabet[random() % std::size(kAlphabet)];
    std::size_t expected = text.find('$');
    while (expected != std::string::npos && ParseTimeValue(text.substr(expected + 1)) == 0) {
      expected = text.find('$', expected + 1);
    }
    ASSERT_EQ(FindStartTime(text), expected) << text;
    if (expected != std::string::npos) ++found;
  }
  EXPECT_GT(found, 1000u);
}

/// Asking at every sign anew would take hours here.
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
