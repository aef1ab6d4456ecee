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
  PlayedStream audio;
  audio.kind = "audio";
  audio.packets = 3240;
  audio.bitRate = 95'499;
  audio.queuedPackets = 86;
  audio.queuedTime = 1998;
  PlayedStream video;
  video.kind = "video";
  video.packets = 1881;
  video.keyFrames = 38;
  video.queuedPackets = 50;
  video.queuedTime = 2001;
  state.streams = {audio, video};
  return state;
}

TEST(PlayView, Times_AreReadableAtEverySize) {
  struct {
    std::int64_t milliseconds;
    const char* text;
  } const cases[] = {
      {-1, "0:00.0"},     {0, "0:00.0"},          {99, "0:00.0"},           {59'999, "0:59.9"},
      {60'000, "1:00.0"}, {3'599'999, "59:59.9"}, {3'600'000, "1:00:00.0"}, {0xFFFFFFFF, "1193:02:47.2"}};
  for (const auto& c : cases) EXPECT_EQ(PlayTimeText(c.milliseconds), c.text);
}

TEST(PlayView, Cutting_KeepsWholeCharactersThatSurelyFit) {
  struct {
    std::string_view text;
    std::size_t columns;
    std::string_view cut;
  } const cases[] = {{"", 0, ""},
                     {"abc", 0, ""},
                     {"abc", 2, "ab"},
                     {"abc", 3, "abc"},
                     {"\xc3\xa4"
                      "b",
                      1, ""},
                     {"\xc3\xa4"
                      "b",
                      2, "\xc3\xa4"},
                     {"\xe6\x97\xa5\xe6\x9c\xac", 4, "\xe6\x97\xa5\xe6\x9c\xac"},
                     {"\xe6\x97\xa5\xe6\x9c\xac", 3, "\xe6\x97\xa5"}};
  for (const auto& c : cases) EXPECT_EQ(CutToColumns(c.text, c.columns), c.cut) << c.text << " in " << c.columns;
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
  state.trouble = "the seek failed";
  state.file = "\xe6\x97\xa5\xe6\x9c\xac.flv";
  const std::vector<std::string> whole = PlayScreen(state, 200, 50);
  for (std::size_t columns = 0; columns < 90; ++columns) {
    for (const std::size_t rows : {0, 1, 3, 8, 20}) {
      const std::vector<std::string> lines = PlayScreen(state, columns, rows);
      EXPECT_EQ(lines.size(), std::min(rows, whole.size())) << columns << " x " << rows;
      for (std::size_t i = 0; i < lines.size(); ++i) {
        EXPECT_LT(lines[i].size(), std::max<std::size_t>(columns, 1) + 2)
            << columns << " x " << rows << ": " << lines[i];
        // The bar alone is made to measure.
        if (i != 1) {
          EXPECT_EQ(whole[i].substr(0, lines[i].size()), lines[i]) << columns << " x " << rows;
        }
      }
    }
  }
}

TEST(PlayView, BarAtOddPositions_StaysInItsFrame) {
  struct {
    std::int64_t position;
    std::int64_t duration;
    const char* bar;
  } const cases[] = {{-5, 100, "[          ]   0 %"},  {0, 100, "[          ]   0 %"},
                     {55, 100, "[=====     ]  55 %"},  {100, 100, "[==========] 100 %"},
                     {500, 100, "[==========] 100 %"}, {5, 0, ""}};
  for (const auto& c : cases) {
    PlayState state = ExampleState();
    state.position = c.position;
    state.duration = c.duration;
    EXPECT_EQ(PlayScreen(state, 19, 5)[1], c.bar) << c.position << " of " << c.duration;
  }
}

TEST(PlayView, Line_HoldsWhatTheScreenDoes) {
  PlayState state = ExampleState();
  state.condition = PlayState::Condition::kEnded;
  state.trouble = "the seek failed";
  EXPECT_EQ(PlayLine(state),
            "the end  1:15.2 / 2:30.0  0.5x  audio 95 kb/s, 3240 sent, queue 86 packets 1998 ms"
            "  video - kb/s, 1881 sent, queue 50 packets 2001 ms  the seek failed");
}

}  // namespace
}  // namespace qbflv::cli
