// What `qbflv play` shows.
#include "cli/play_view.h"

#include <gtest/gtest.h>

#include <algorithm>

namespace qbflv::cli {
namespace {

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
