// The clock, the keys and the display of `qbflv play`.
#include <gtest/gtest.h>

#include <algorithm>
#include <string>

#include "cli/play_clock.h"
#include "cli/play_keys.h"
#include "cli/play_view.h"

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

/// L, R, S and Q for the keys.
std::string Decode(std::initializer_list<std::string_view> pieces) {
  PlayKeyDecoder decoder;
  std::string text;
  for (const std::string_view piece : pieces) {
    for (const PlayKey key : decoder.Decode(piece)) text += "LRS-Q"[static_cast<int>(key)];
  }
  return text;
}

TEST(PlayKeys, Sequences_GiveTheirKeysWholeAndInPieces) {
  struct {
    std::string_view bytes;
    const char* keys;
  } const cases[] = {
      {"", ""},
      {" qQ", "SQQ"},
      {"xDC[O", ""},
      {"\x1b[D\x1b[C", "LR"},
      {"\x1bOD\x1bOC", "LR"},
      {"\x1b[C\x1b[C\x1b[C", "RRR"},
      {"\x1b[1;5D\x1b[1;2C", "LR"},   // with a modifier
      {"\x1b[A\x1b[B\x1bOP ", "S"},   // other arrows, F1
      {"\x1b[3~\x1b[24~q", "Q"},      // delete, F12
      {"\x1b[M !!", "S"},             // nothing that was asked for, and no harm
      {"\x1bq", "Q"},                 // the escape key, then q
      {"\x1b\x1b[D", "L"},            // the escape key, then an arrow
      {"\x1b[1\x1b[C", "R"},          // a sequence that breaks off
      {"\xc3\xa4 \xe2\x86\x90", "S"}  // letters beyond ASCII
  };
  for (const auto& c : cases) {
    EXPECT_EQ(Decode({c.bytes}), c.keys) << testing::PrintToString(c.bytes);
    for (std::size_t cut = 1; cut < c.bytes.size(); ++cut) {
      EXPECT_EQ(Decode({c.bytes.substr(0, cut), c.bytes.substr(cut)}), c.keys)
          << testing::PrintToString(c.bytes) << " cut at " << cut;
    }
  }
}

PlayState ExampleState() {
  PlayState state;
  state.file = "film.flv";
  state.speed = 0.5;
  state.position = 75'250;
  state.duration = 150'000;
  state.streams.resize(2);
  state.streams[0] = {.kind = "audio", .packets = 3240, .bitRate = 95'499, .queuedPackets = 86, .queuedTime = 1998};
  state.streams[1] = {
      .kind = "video", .packets = 1881, .keyFrames = 38, .bitRate = {}, .queuedPackets = 50, .queuedTime = 2001};
  return state;
}

TEST(PlayView, Screen_ShowsEverything) {
  const std::vector<std::string> expected = {
      "playing  1:15.2 / 2:30.0  0.5x  film.flv",
      "[==============================                              ]  50 %",
      "",
      "stream          kb/s  queue                       sent  key frames",
      "     0  audio       95    86 packets   1998 ms      3240           -",
      "     1  video        -    50 packets   2001 ms      1881          38",
      "",
      "left, right: 10 s   space: pause   q: quit",
  };
  EXPECT_EQ(PlayScreen(ExampleState(), 100, 30), expected);
}

TEST(PlayView, SmallScreens_AreNeverOverrun) {
  PlayState state = ExampleState();
  state.error = "the seek failed";
  state.file = "\xe6\x97\xa5\xe6\x9c\xac.flv";
  const std::vector<std::string> whole = PlayScreen(state, 200, 50);
  for (std::size_t columns = 0; columns < 90; ++columns) {
    for (const std::size_t rows : {0U, 1U, 3U, 8U, 20U}) {
      const std::vector<std::string> lines = PlayScreen(state, columns, rows);
      EXPECT_EQ(lines.size(), std::min(rows, whole.size())) << columns << " x " << rows;
      for (std::size_t i = 0; i < lines.size(); ++i) {
        // The bar alone is made to measure.
        const bool isCut = i == 1 || whole[i].starts_with(lines[i]);
        EXPECT_TRUE(isCut && lines[i].size() < std::max<std::size_t>(columns, 1) + 2) << columns << ": " << lines[i];
      }
    }
  }
}

TEST(PlayView, BarAtOddPositions_StaysInItsFrame) {
  const std::pair<std::int64_t, const char*> cases[] = {
      {-5, "[          ]   0 %"}, {55, "[=====     ]  55 %"}, {100, "[==========] 100 %"}, {500, "[==========] 100 %"}};
  PlayState state = ExampleState();
  for (const auto& [position, bar] : cases) {
    state.position = position;
    state.duration = 100;
    EXPECT_EQ(PlayScreen(state, 19, 5)[1], bar) << position;
  }
  state.duration = 0;
  EXPECT_EQ(PlayScreen(state, 19, 5)[1], "");
}

TEST(PlayView, Line_IsShort) {
  PlayState state = ExampleState();
  EXPECT_EQ(PlayLine(state), "1:15.2 / 2:30.0  audio 95 kb/s 3240 sent  video - kb/s 1881 sent");
  state.condition = PlayState::Condition::kEnded;
  state.error = "the seek failed";
  EXPECT_EQ(PlayLine(state), "the end  1:15.2  audio 3240 sent  video 1881 sent\nthe seek failed");
}

}  // namespace
}  // namespace qbflv::cli
