// The clock of `qbflv play`.
#include "cli/play_clock.h"

#include <gtest/gtest.h>

namespace qbflv::cli {
namespace {

using std::chrono::milliseconds;

constexpr PlayClock::Time kStart{std::chrono::hours(5)};

TEST(PlayClock, Speeds_MoveThePositionThatMuchFaster) {
  struct {
    double speed;
    int wall;
    std::int64_t position;
  } const cases[] = {{1, 0, 0},         {1, 1234, 1234},      {4, 250, 1000},
                     {0.5, 3001, 1500}, {0.01, 100000, 1000}, {1000, 1, 1000}};
  for (const auto& c : cases) {
    const PlayClock clock(c.speed, kStart);
    EXPECT_EQ(clock.Position(kStart + milliseconds(c.wall)), c.position) << c.speed << "x, " << c.wall << " ms";
  }
}

TEST(PlayClock, PausesAndJumps_AddUp) {
  PlayClock clock(2, kStart);
  const auto at = [](int wall) { return kStart + milliseconds(wall); };
  clock.SetRunning(false, at(100));
  EXPECT_EQ(clock.Position(at(5000)), 200) << "paused";
  clock.JumpTo(7000, at(5000));
  EXPECT_EQ(clock.Position(at(6000)), 7000) << "jumped while paused";
  clock.SetRunning(false, at(6500));
  clock.SetRunning(true, at(7000));
  EXPECT_EQ(clock.Position(at(7010)), 7020) << "running again";
  clock.JumpTo(500, at(8000));
  EXPECT_EQ(clock.Position(at(8050)), 600) << "jumped while running";
}

/// A clock that is stopped and started at odd moments must lose nothing to rounding.
TEST(PlayClock, ManyPauses_LoseNoTime) {
  PlayClock clock(1, kStart);
  PlayClock::Time now = kStart;
  for (int i = 0; i < 10000; ++i) {
    now += std::chrono::microseconds(700);
    clock.SetRunning(i % 2 != 0, now);
  }
  EXPECT_NEAR(static_cast<double>(clock.Position(now)), 3500, 1);
}

TEST(PlayClock, TimeOfAPosition_IsTheFirstMomentWithThatPosition) {
  for (const double speed : {0.01, 0.3, 1.0, 3.7, 1000.0}) {
    PlayClock clock(speed, kStart);
    clock.JumpTo(5000, kStart);
    for (const std::int64_t position : {5001LL, 5777LL, 123456LL, 0xFFFFFFFFLL}) {
      const auto when = clock.WhenAt(position);
      ASSERT_TRUE(when);
      // Fractions of a nanosecond are nobody's concern.
      EXPECT_GE(clock.Position(*when + milliseconds(1)), position) << speed << "x, " << position;
      EXPECT_LT(clock.Position(*when - std::chrono::microseconds(10)), position) << speed << "x, " << position;
    }
    EXPECT_LE(clock.WhenAt(4000), kStart) << speed << "x, a position passed already";
  }
}

TEST(PlayClock, TimeOfAPositionWhilePaused_IsKnownUpToWhereItStands) {
  PlayClock clock(1, kStart);
  clock.JumpTo(5000, kStart);
  clock.SetRunning(false, kStart);
  EXPECT_TRUE(clock.WhenAt(4000));
  EXPECT_TRUE(clock.WhenAt(5000));
  EXPECT_FALSE(clock.WhenAt(5001));
}

}  // namespace
}  // namespace qbflv::cli
