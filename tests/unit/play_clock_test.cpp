// The clock of `qbflv play`.
#include "cli/play_clock.h"

#include <gtest/gtest.h>

namespace qbflv::cli {
namespace {

using std::chrono::milliseconds;

constexpr PlayClock::Time kStart{std::chrono::hours(5)};

TEST(PlayClock, PausesAndJumps_AddUp) {
  PlayClock clock(2, kStart);
  const auto at = [](int wall) { return kStart + milliseconds(wall); };
  clock.SetRunning(false, at(100));
  EXPECT_EQ(clock.Position(at(5000)), 200) << "paused";
  clock.SetPosition(7000, at(5000));
  EXPECT_EQ(clock.Position(at(6000)), 7000) << "jumped while paused";
  clock.SetRunning(false, at(6500));
  clock.SetRunning(true, at(7000));
  EXPECT_EQ(clock.Position(at(7010)), 7020) << "running again";
  clock.SetPosition(500, at(8000));
  EXPECT_EQ(clock.Position(at(8050)), 600) << "jumped while running";
}

TEST(PlayClock, TimeOfAPosition_IsTheFirstMomentWithThatPosition) {
  for (const double speed : {0.01, 0.3, 1.0, 3.7, 1000.0}) {
    PlayClock clock(speed, kStart);
    clock.SetPosition(5000, kStart);
    for (const std::int64_t position : {5001LL, 5777LL, 123456LL, 0xFFFFFFFFLL}) {
      const auto when = clock.TimeOf(position);
      ASSERT_TRUE(when);
      // Fractions of a nanosecond are nobody's concern.
      EXPECT_GE(clock.Position(*when + milliseconds(1)), position) << speed << "x, " << position;
      EXPECT_LT(clock.Position(*when - std::chrono::microseconds(10)), position) << speed << "x, " << position;
    }
    EXPECT_LE(clock.TimeOf(4000), kStart) << speed << "x, a position passed already";
    clock.SetRunning(false, kStart);
    EXPECT_TRUE(clock.TimeOf(5000) && !clock.TimeOf(5001)) << speed << "x, paused";
  }
}

}  // namespace
}  // namespace qbflv::cli
