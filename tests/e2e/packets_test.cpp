// `qbflv packets` with hosts of every kind, and `qbflv seek`, compared with the bytes of the file.
#include <fmt/format.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <map>
#include <nlohmann/json.hpp>
#include <optional>
#include <utility>

#include "tests/e2e/command.h"
#include "tests/e2e/fixture.h"
#include "tests/e2e/flv_file.h"

namespace qbflv::e2e {
namespace {

using Json = nlohmann::json;

std::string PacketLine(const Tag& tag) {
  const bool startsAnew = tag.type == kAudioTag || tag.IsKeyFrame();
  return fmt::format(R"({{"stream":{},"time":{},"size":{},"asm_flags":{},"asm_rule":{},"crc32":"{:08x}"}})",
                     tag.Stream(), tag.time, tag.body.size(), startsAnew ? 3 : 2, startsAnew ? 0 : 1, tag.Checksum());
}

/// The lines for a host that always asks every live stream, of a file whose times do not decrease within a stream.
///
/// lastTimesKnown: a stream is done with its first packet of the time that its last one has. Otherwise the streams are
/// done at the end of the file, and what then still waits for the other stream is lost.
std::vector<std::string> ExpectedListing(const FlvFile& file, bool lastTimesKnown) {
  std::map<int, std::uint32_t> lastTimes;
  for (const Tag& tag : file.tags) {
    if (tag.IsMedia()) lastTimes[tag.Stream()] = tag.time;
  }
  std::map<int, const Tag*> lastTags;
  std::vector<const Tag*> tags;
  for (const Tag& tag : file.tags) {
    if (!tag.IsMedia() || tag.body.empty()) continue;
    const Tag*& last = lastTags[tag.Stream()];
    if (lastTimesKnown && last != nullptr && last->time == lastTimes[tag.Stream()]) continue;
    last = &tag;
    tags.push_back(&tag);
  }
  std::ranges::stable_sort(tags, {}, [](const Tag* tag) { return std::pair(tag->time, tag->Stream()); });

  std::vector<std::string> lines;
  const auto finish = [&](int stream) { lines.push_back(fmt::format(R"({{"stream":{},"done":true}})", stream)); };
  for (const Tag* const tag : tags) {
    const int stream = tag->Stream();
    lines.push_back(PacketLine(*tag));
    if (tag != lastTags[stream]) continue;
    if (!lastTimesKnown) break;
    finish(stream);
  }
  for (const auto& [stream, tag] : lastTags) {
    if (!lastTimesKnown) finish(stream);
  }
  return lines;
}

TEST(Packets, InEveryHostMode_AreTheFilesTagsInTimeOrder) {
  const std::string tour = ReadBytes(Sample("tour.flv"));
  const std::string sorenson = ReadBytes(Sample("sorenson.flv"));
  const struct {
    const char* name;
    std::string bytes;
    /// The last four bytes lead to the last tag.
    bool endIsWhole;
  } cases[] = {
      {"H.264 and AAC", tour, true},
      {"Sorenson and MP3, no metadata", sorenson, true},
      {"the last size missing", sorenson.substr(0, sorenson.size() - 4), false},
      {"cut inside a tag's body", sorenson.substr(0, sorenson.size() - 50), false},
      {"cut after a tag's header", tour.substr(0, tour.size() - 9), false},
      {"cut inside a tag's header", tour.substr(0, tour.size() - 12), false},
  };
  const TemporaryFolder folder;
  for (const auto& row : cases) {
    const FlvFile file = ParseFlv(row.bytes);
    const Words command{"packets", "--json", folder.Write("in.flv", row.bytes)};
    for (const std::string stat : {"yes", "no", "fail"}) {
      for (const std::string order : {"random", "linear"}) {
        // With both the plug-in looks at the end of the file before it starts, and knows each stream's last time.
        const bool lastTimesKnown = row.endIsWhole && stat == "yes" && order == "random";
        const std::vector<std::string> expected = ExpectedListing(file, lastTimesKnown);
        for (const std::string end : {"short", "fail"}) {
          SCOPED_TRACE(testing::Message() << row.name << ", stat " << stat << ", order " << order << ", eof " << end);
          const Words words = command + Words{"--host-stat", stat, "--host-order", order, "--host-eof", end};
          const CommandResult result = RunQbflv(words);
          EXPECT_EQ(result.status, 0) << result.err;
          EXPECT_TRUE(SameLines(expected, Lines(result.out)));
          EXPECT_EQ(result, RunQbflv(words + Words{"--host-io", "queued"}));
        }
      }
    }
  }
}

TEST(Packets, OfAPartOrAStream_AreThoseOfTheWholeListing) {
  for (const std::string stream : {"", "1"}) {
    const Words words =
        Words{"packets", "--json", Sample("tour.flv")} + (stream.empty() ? Words{} : Words{"--stream", stream});
    std::vector<std::string> whole = ExpectedListing(ParseFlv(ReadBytes(Sample("tour.flv"))), true);
    std::erase_if(whole, [&](const std::string& line) { return !line.starts_with("{\"stream\":" + stream); });
    for (const std::ptrdiff_t limit : {0, 20}) {
      const CommandResult result = RunQbflv(words + Words{"--limit", std::to_string(limit)});
      EXPECT_TRUE(SameLines({whole.begin(), whole.begin() + limit}, Lines(result.out))) << limit << " of " << stream;
    }
    // The times of the two streams go on apart.
    if (stream.empty()) continue;
    const std::vector<std::string> end = Lines(RunQbflv(words + Words{"--start", "3000"}).out);
    ASSERT_TRUE(end.size() > 10 && end.size() < whole.size());
    EXPECT_TRUE(SameLines({whole.end() - static_cast<std::ptrdiff_t>(end.size()), whole.end()}, end));
  }
}

TEST(SeekCommand, OnTheSamples_RestartsAtAKeyFrame) {
  for (const char* const sample : {"tour.flv", "sorenson.flv"}) {
    const FlvFile file = ParseFlv(ReadBytes(Sample(sample)));
    const CommandResult result = RunQbflv({"seek", "--json", Sample(sample), "0", "1500", "3000", "7000"});
    ASSERT_EQ(result.status, 0) << result.err;
    ASSERT_EQ(Lines(result.out).size(), 4U);
    for (const std::string& text : Lines(result.out)) {
      SCOPED_TRACE(text);
      const Json line = Json::parse(text);
      // The last one before the time, or else the first.
      std::optional<std::uint32_t> keyTime;
      for (const Tag& tag : file.tags) {
        if (tag.IsKeyFrame() && (!keyTime || tag.time < line.at("seek"))) keyTime = tag.time;
      }
      EXPECT_EQ(line.at("first").at(1).at("time"), keyTime.value());
      EXPECT_EQ(line.at("first").at(1).at("asm_flags"), 3) << "a key frame";
      EXPECT_EQ(line.at("status"), "0x00000000");
      EXPECT_EQ(line.at("seeks"), line.at("reads").get<int>() + 1) << "one more, to the place itself";
    }
  }
}

TEST(SeekCommand, ThatFails_ShowsTheStatusAndTriesTheOtherTimes) {
  const TemporaryFolder folder;
  const std::string bytes = ReadBytes(Sample("tour.flv"));
  // Without the last size nothing can be read after the last tag.
  const auto cut = folder.Write("cut.flv", bytes.substr(0, bytes.size() - 4));
  const CommandResult result = RunQbflv({"seek", "--json", "--host-eof", "fail", cut, "99999999", "3000"});
  EXPECT_EQ(result.status, 1);
  EXPECT_NE(result.err.find("99999999 ms: 0x80004005"), std::string::npos) << result.err;
  const std::vector<std::string> lines = Lines(result.out);
  ASSERT_EQ(lines.size(), 2U);
  EXPECT_EQ(Json::parse(lines[0]).at("status"), "0x80004005");
  EXPECT_EQ(Json::parse(lines[0]).at("first"), Json::array());
  EXPECT_EQ(Json::parse(lines[1]).at("first")[1].at("time"), 2000);
}

}  // namespace
}  // namespace qbflv::e2e
