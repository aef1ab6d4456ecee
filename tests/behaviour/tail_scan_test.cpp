// The look at the last tags of the file: the durations found there, the way back from tag to tag, and how it ends.
#include <gtest/gtest.h>

#include <algorithm>
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
  const Lines& all = host.log.All();
  EXPECT_EQ((Lines{"SetAccessHint(1)", Seek(flv.Size() - 4), "Read(4)", Seek(flv.Field(6)), "Read(15)",
                   Seek(flv.Field(5)), "Read(15)", Seek(flv.Field(4)), "Read(15)", Seek(flv.Field(3)), "Read(15)",
                   "Seek(9)", "FileHeaderReady 0x00000000 {StreamCount=2}"}),
            Lines(std::ranges::find(all, "SetAccessHint(1)"), all.end()));
}

TEST(TailScan, GivesTheDurationsOfTheStreams) {
  const FlvBuilder flv = Start().Audio(23000, 9).Audio(23023, 9).Video(23040, 20);
  const Bytes& plain = flv.File();
  const Bytes shifted = Start(1000, 400).Audio(2000, 9).Audio(2023, 9).Video(1400, 20).File();
  const FlvBuilder untold = FlvBuilder(kBoth).Metadata(QuickMetadata()).Audio(0, 30).Video(0, 30).Audio(99, 9);
  const struct {
    const char* name;
    FileScript file;
    const char* audio;
    const char* video;
  } cases[] = {
      {"video last", {.bytes = plain}, "23046", "23040"},
      {"the time base is the earlier first tag", {.bytes = shifted}, "1646", "1000"},
      {"other tags are passed over",
       {.bytes = Start().Audio(500, 9).Video(540, 20).Audio(523, 9).Tag(18, 999, {5}).Tag(0x28, 999, {5}).File()},
       "546",
       "540"},
      {"only the first tags", {.bytes = Start(0, 7).File()}, "55000", "7"},
      {"front to back", {.bytes = plain, .accessHint = kPrefersLinearAccess}, "55000", "55000"},
      {"another result of the hint", {.bytes = plain, .accessHint = kFailed}, "23046", "23040"},
      {"failed stat", {.bytes = plain, .stat = Stat::kFailing}, "55000", "55000"},
      {"nothing known at all", {.bytes = untold.File(), .stat = Stat::kAbsent}, "10000", "10000"},
      {"a failed seek to the end", {.bytes = plain, .rules = {{Seek(flv.Size() - 4), 0, kFailed}}}, "55000", "55000"},
      {"a short read of the last size", {.bytes = plain, .rules = {{"Read(4)", 0, kOk, 3}}}, "55000", "55000"},
      {"the stat tells too much", {.bytes = plain, .rules = {{"Stat", 0, kOk, 1U << 30U}}}, "55000", "55000"},
      {"the stat tells too little", {.bytes = plain, .rules = {{"Stat", 0, kOk, 3}}}, "55000", "55000"},
      // The scan reads three tag headers before the tail: metadata, audio, video.
      {"a short read of the last tag", {.bytes = plain, .rules = {{"Read(15)", 4, kOk, 14}}}, "55000", "55000"},
      {"a failed read later on", {.bytes = plain, .rules = {{"Read(15)", 6, kFailed}}}, "55000", "23040"},
      {"a failed first step back", {.bytes = plain, .rules = {{Seek(flv.Field(5)), 0, kFailed}}}, "55000", "55000"},
      {"a failed step back", {.bytes = plain, .rules = {{Seek(flv.Field(4)), 0, kFailed}}}, "55000", "23040"}};
  for (const auto& row : cases) {
    for (const Completes completes : {Completes::kInline, Completes::kLater}) {
      FileScript file = row.file;
      file.completes = completes;
      ScriptedHost host({.file = file});
      EXPECT_TRUE(host.ReadHeaders()) << row.name;
      EXPECT_EQ("Seek(9)", host.log.Last("Seek")) << row.name;
      EXPECT_EQ(row.audio, host.StreamProperty(0, "Duration")) << row.name;
      EXPECT_EQ(row.video, host.StreamProperty(1, "Duration")) << row.name;
    }
  }
}

/// A file whose fields before the tags lead from one video tag to another in that order, beginning with the field at
/// the end of the file. Every tag is 41 bytes with its field. last: where the tag that ends the order leads, if not on.
FlvBuilder Maze(FlvBuilder flv, const std::vector<std::size_t>& order, std::optional<std::uint32_t> last = {}) {
  const std::size_t first = flv.Tags();
  for (std::size_t i = 0; i < std::max<std::size_t>(order.size(), 5); ++i) {
    flv.Video(static_cast<std::uint32_t>(i * 40), 26);
  }
  flv.Patch(flv.Size() - 4, flv.Size() - 8 - flv.Field(first + order.front()));
  for (std::size_t i = 0; i < order.size(); ++i) {
    const std::uint32_t from = flv.Field(first + order[i]);
    if (i + 1 < order.size()) flv.Patch(from, from - 4 - flv.Field(first + order[i + 1]));
    if (i + 1 == order.size() && last) flv.Patch(from, from - 4 - *last);
  }
  return flv;
}

std::vector<std::size_t> CountingUpTo(std::size_t count, std::size_t then) {
  std::vector<std::size_t> order(count);
  std::iota(order.begin(), order.end(), 0U);
  order.push_back(then);
  return order;
}

TEST(TailScan, InACycle_EndsLikeItsOtherFailures) {
  const struct {
    const char* name;
    std::vector<std::size_t> order;
  } cases[] = {{"one tag", {4, 4}},
               {"two tags", {4, 2, 4}},
               {"three tags, not in order", {4, 1, 3, 4}},
               {"the way into it", {4, 1, 2, 3, 2}},
               {"a thousand tags", CountingUpTo(1000, 0)},
               {"a long way into a long one", CountingUpTo(1500, 700)}};
  for (const auto& row : cases) {
    ScriptedHost host({.file = {.bytes = Maze(Start(), row.order).File()}});
    ASSERT_TRUE(host.ReadHeaders()) << row.name;
    EXPECT_EQ("Seek(9)", host.log.Last("Seek")) << row.name;
    EXPECT_EQ("55000", host.StreamProperty(0, "Duration")) << row.name;
    EXPECT_GE(host.log.Count("Seek"), row.order.size()) << row.name << ": cut short";
    EXPECT_LE(host.log.Count("Seek"), 4 * row.order.size() + 8) << row.name << ": repeats the cycle too often";
  }
}

TEST(TailScan, AlongAChainThatEndsByItself_GoesToItsEnd) {
  // Back and forth through the file, every tag once, then to the two audio tags at the start.
  std::vector<std::size_t> order;
  for (std::size_t i = 0; i < 1000; ++i) order.push_back(i % 2 == 0 ? i / 2 : 999 - i / 2);
  const FlvBuilder start = FlvBuilder(kBoth).Metadata(QuickMetadata()).Audio(0, 30).Audio(23, 30).Video(0, 30);
  ScriptedHost host({.file = {.bytes = Maze(start, order, start.Field(2)).File()}});
  ASSERT_TRUE(host.ReadHeaders());
  EXPECT_EQ("46", host.StreamProperty(0, "Duration"));
}

}  // namespace
}  // namespace qbflv::test
