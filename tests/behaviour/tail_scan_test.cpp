// The look at the last tags of the file: the durations found there, the way back from tag to tag, and its failures.
#include <gtest/gtest.h>

#include <numeric>

#include "tests/support/scripted_host.h"

namespace qbflv::test {
namespace {

using Lines = CallLog::Lines;

/// Both streams, described by metadata, with their first tags at the given times.
FlvBuilder Start(std::uint32_t audio = 0, std::uint32_t video = 0) {
  FlvBuilder flv(kBoth);
  flv.Metadata(QuickMetadata({{"duration", amf::Number(55)}})).Audio(audio, 30).Video(video, 30);
  return flv;
}

std::string Seek(std::uint32_t offset) { return "Seek(" + std::to_string(offset) + ")"; }

TEST(TailScan, StepsBackUntilBothDurationsAreKnown) {
  const FlvBuilder flv = Start().Video(22900, 20).Audio(22977, 9).Audio(23000, 9).Audio(23023, 9);
  ScriptedHost host({.file = {.bytes = flv.File()}});
  ASSERT_TRUE(host.OpenAndReadFileHeader());
  const Lines all = host.log.All();
  const Lines tail(std::find(all.begin(), all.end(), "SetAccessHint(1)"), all.end());
  EXPECT_EQ((Lines{"SetAccessHint(1)", Seek(flv.Size() - 4), "Read(4)", Seek(flv.Field(6)), "Read(15)",
                   Seek(flv.Field(5)), "Read(15)", Seek(flv.Field(4)), "Read(15)", Seek(flv.Field(3)), "Read(15)",
                   "Seek(9)", "FileHeaderReady 0x00000000 {StreamCount=2}"}),
            tail);
}

struct DurationCase {
  const char* name;
  FileScript file;
  const char* audio;
  const char* video;
};

TEST(TailScan, GivesTheDurationsOfTheStreams) {
  const Bytes plain = Start().Audio(23000, 9).Audio(23023, 9).Video(23040, 20).File();
  const Bytes shifted = Start(1000, 400).Audio(2000, 9).Audio(2023, 9).Video(1400, 20).File();
  const FlvBuilder untold = FlvBuilder(kBoth).Metadata(QuickMetadata()).Audio(0, 30).Video(0, 30).Audio(99, 9);
  const DurationCase cases[] = {
      {"video last", {.bytes = plain}, "23046", "23040"},
      {"audio last",
       {.bytes = Start().Video(22900, 20).Audio(22977, 9).Audio(23000, 9).Audio(23023, 9).File()},
       "23046",
       "22900"},
      {"the time base is the earlier first tag", {.bytes = shifted}, "1646", "1000"},
      {"other tags are passed over",
       {.bytes = Start().Audio(500, 9).Video(540, 20).Audio(523, 9).Tag(18, 999, {5}).Tag(0x28, 999, {5}).File()},
       "546",
       "540"},
      {"only the first tags", {.bytes = Start(0, 7).File()}, "55000", "7"},
      {"front to back", {.bytes = plain, .accessHint = kPrefersLinearAccess}, "55000", "55000"},
      {"another answer to the hint", {.bytes = plain, .accessHint = kFailed}, "23046", "23040"},
      {"no stat", {.bytes = plain, .stat = Stat::kAbsent}, "55000", "55000"},
      {"failed stat", {.bytes = plain, .stat = Stat::kFailing}, "55000", "55000"},
      {"nothing known at all", {.bytes = untold.File(), .stat = Stat::kAbsent}, "10000", "10000"},
      {"a failed seek to the end",
       {.bytes = plain, .rules = {{Seek(static_cast<std::uint32_t>(plain.size()) - 4), 0, kFailed}}},
       "55000",
       "55000"},
      {"a failed read of the last size", {.bytes = plain, .rules = {{"Read(4)", 0, kFailed}}}, "55000", "55000"},
      {"a short read of the last size", {.bytes = plain, .rules = {{"Read(4)", 0, kOk, 3}}}, "55000", "55000"},
      {"the stat tells too much", {.bytes = plain, .rules = {{"Stat", 0, kOk, 1u << 30}}}, "55000", "55000"},
      {"the stat tells too little", {.bytes = plain, .rules = {{"Stat", 0, kOk, 3}}}, "55000", "55000"},
      // The scan reads three tag headers before the tail: metadata, audio, video.
      {"a failed read of the last tag", {.bytes = plain, .rules = {{"Read(15)", 4, kFailed}}}, "55000", "55000"},
      {"a short read of the last tag", {.bytes = plain, .rules = {{"Read(15)", 4, kOk, 14}}}, "55000", "55000"},
      {"a failed read later on", {.bytes = plain, .rules = {{"Read(15)", 6, kFailed}}}, "55000", "23040"},
  };
  for (const DurationCase& row : cases) {
    for (const Answers answers : {Answers::kInline, Answers::kLater}) {
      FileScript file = row.file;
      file.answers = answers;
      ScriptedHost host({.file = file});
      EXPECT_TRUE(host.ReadHeaders()) << row.name;
      EXPECT_EQ("Seek(9)", host.log.Last("Seek")) << row.name;
      EXPECT_EQ(row.audio, host.StreamProperty(0, "Duration")) << row.name;
      EXPECT_EQ(row.video, host.StreamProperty(1, "Duration")) << row.name;
    }
  }
}

TEST(TailScan, AFailedStepBack_EndsItAlone) {
  const FlvBuilder flv = Start().Audio(23000, 9).Audio(23023, 9).Video(23040, 20);
  for (const std::size_t tag : {5u, 4u}) {
    ScriptedHost host({.file = {.bytes = flv.File(), .rules = {{Seek(flv.Field(tag)), 0, kFailed}}}});
    ASSERT_TRUE(host.ReadHeaders()) << tag;
    EXPECT_EQ("55000", host.StreamProperty(0, "Duration")) << tag;
    EXPECT_EQ(tag == 5 ? "55000" : "23040", host.StreamProperty(1, "Duration")) << tag;
  }
}

/// Sends the tail scan round: it never meets a second audio tag, and the field before each of the video tags tells a
/// size that leads to the next tag of the given order. Every tag is 41 bytes with its field.
FlvBuilder Maze(std::size_t tags, const std::vector<std::size_t>& order) {
  FlvBuilder flv = Start();
  const std::size_t first = flv.Tags();
  for (std::size_t i = 0; i < tags; ++i) flv.Video(static_cast<std::uint32_t>(i * 40), 26);
  // Behind the last tag stands its size, which leads to the first of the order.
  flv.Patch(flv.Size() - 4, flv.Size() - 8 - flv.Field(first + order.front()));
  for (std::size_t i = 0; i + 1 < order.size(); ++i) {
    const std::uint32_t from = flv.Field(first + order[i]);
    flv.Patch(from, from - 4 - flv.Field(first + order[i + 1]));
  }
  return flv;
}

TEST(TailScan, SentRoundInCircles_EndsLikeItsOtherFailures) {
  std::vector<std::size_t> ring(1000);
  std::iota(ring.begin(), ring.end(), 0u);
  ring.push_back(0);
  std::vector<std::size_t> tailOfRing(1500);
  std::iota(tailOfRing.begin(), tailOfRing.end(), 0u);
  tailOfRing.push_back(700);
  const struct {
    const char* name;
    std::vector<std::size_t> order;
  } cases[] = {{"one tag", {4, 4}},
               {"two tags", {4, 2, 4}},
               {"three tags, not in order", {4, 1, 3, 4}},
               {"the way into it", {4, 1, 2, 3, 2}},
               {"a thousand tags", ring},
               {"a long way into a long one", tailOfRing}};
  for (const auto& row : cases) {
    for (const Answers answers : {Answers::kInline, Answers::kLater}) {
      const FlvBuilder flv = Maze(std::max<std::size_t>(row.order.size(), 5), row.order);
      ScriptedHost host({.file = {.bytes = flv.File(), .answers = answers}});
      ASSERT_TRUE(host.ReadHeaders()) << row.name;
      EXPECT_EQ("Seek(9)", host.log.Last("Seek")) << row.name;
      EXPECT_EQ("55000", host.StreamProperty(0, "Duration")) << row.name;
      EXPECT_GE(host.log.Count("Seek"), row.order.size()) << row.name << ": cut short";
      EXPECT_LE(host.log.Count("Seek"), 4 * row.order.size() + 8) << row.name << ": goes round too often";
    }
  }
}

TEST(TailScan, AChainThatEndsByItself_IsFollowedToItsEnd) {
  // Back and forth through the file, every tag once, then to the two audio tags at the start.
  std::vector<std::size_t> order;
  for (std::size_t i = 0; i < 1000; ++i) order.push_back(i % 2 == 0 ? i / 2 : 999 - i / 2);
  FlvBuilder flv(kBoth);
  flv.Metadata(QuickMetadata()).Audio(0, 30).Audio(23, 30).Video(0, 30);
  const std::size_t first = flv.Tags();
  for (std::uint32_t i = 0; i < 1000; ++i) flv.Video(i * 40, 26);
  flv.Patch(flv.Size() - 4, flv.Size() - 8 - flv.Field(first + order.front()));
  for (std::size_t i = 0; i < order.size(); ++i) {
    const std::uint32_t from = flv.Field(first + order[i]);
    const std::uint32_t to = i + 1 < order.size() ? flv.Field(first + order[i + 1]) : flv.Field(2);
    flv.Patch(from, from - 4 - to);
  }
  ScriptedHost host({.file = {.bytes = flv.File()}});
  ASSERT_TRUE(host.ReadHeaders());
  EXPECT_EQ("46", host.StreamProperty(0, "Duration"));
}

}  // namespace
}  // namespace qbflv::test
