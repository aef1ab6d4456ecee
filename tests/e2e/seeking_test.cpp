// `qbflv seek`, and the listing that begins at a time.
#include <gtest/gtest.h>

#include <nlohmann/json.hpp>

#include "tests/e2e/command.h"
#include "tests/e2e/expected_listing.h"
#include "tests/e2e/fixture.h"
#include "tests/e2e/flv_file.h"
#include "tests/e2e/host_mode.h"

namespace qbflv::e2e {
namespace {

using Json = nlohmann::json;

constexpr const char* kSamples[] = {"tour.flv", "sorenson.flv"};

std::vector<Json> JsonLines(const std::string& text) {
  std::vector<Json> lines;
  for (const std::string& line : Lines(text)) lines.push_back(Json::parse(line));
  return lines;
}

/// The file's first key frame, if there is none before the time.
std::uint32_t LastKeyFrameBefore(const FlvFile& file, std::uint32_t time) {
  std::vector<std::uint32_t> times;
  for (const Tag& tag : file.tags) {
    if (tag.IsKeyFrame() && (times.empty() || tag.time < time)) times.push_back(tag.time);
  }
  return times.back();
}

TEST(SeekCommand, OnTheSamples_RestartsAtAKeyFrameInEveryHostMode) {
  for (const char* const sample : kSamples) {
    const FlvFile file = ParseFlv(ReadBytes(Sample(sample)));
    for (const HostMode& mode : AllHostModes()) {
      for (const char* const io : {"inline", "queued"}) {
        SCOPED_TRACE(std::string(sample) + ", " + mode.Name() + ", " + io);
        const CommandResult result = RunQbflv(
            Words{"seek", "--json", "--host-io", io, Sample(sample), "0", "1500", "3000", "7000"} + mode.Options());
        ASSERT_EQ(result.status, 0) << result.err;
        const std::vector<Json> lines = JsonLines(result.out);
        ASSERT_EQ(lines.size(), 4U);
        for (const Json& line : lines) {
          const auto time = line.at("seek").get<std::uint32_t>();
          SCOPED_TRACE(time);
          EXPECT_EQ(line.at("status"), "0x00000000");
          ASSERT_EQ(line.at("first").size(), 2U);
          const Json& video = line.at("first")[1];
          EXPECT_EQ(video.at("asm_flags"), 3) << "a key frame";
          EXPECT_EQ(video.at("time"), LastKeyFrameBefore(file, time));
          EXPECT_EQ(line.at("seeks"), line.at("reads").get<int>() + 1) << "one more, to the place itself";
        }
      }
    }
  }
}

TEST(SeekCommand, AfterPlay_NeedsFewerOperationsForTheSamePlace) {
  for (const char* const sample : kSamples) {
    SCOPED_TRACE(sample);
    const Words arguments{"seek", "--json", Sample(sample), "6500"};
    const CommandResult cold = RunQbflv(arguments);
    const CommandResult warm = RunQbflv(arguments + Words{"--after-play"});
    ASSERT_EQ(cold.status + warm.status, 0) << cold.err << warm.err;
    const Json coldLine = Json::parse(cold.out);
    const Json warmLine = Json::parse(warm.out);
    EXPECT_EQ(coldLine.at("first")[1], warmLine.at("first")[1]);
    EXPECT_LT(warmLine.at("reads"), coldLine.at("reads"));
  }
}

TEST(SeekCommand, PastTheEnd_SucceedsWithEveryStreamDone) {
  const CommandResult json = RunQbflv({"seek", "--json", Sample("tour.flv"), "99999999", "0"});
  EXPECT_EQ(json.status, 0) << json.err;
  const std::vector<Json> lines = JsonLines(json.out);
  ASSERT_EQ(lines.size(), 2U);
  EXPECT_EQ(lines[0].at("first"), Json::parse(R"([{"stream":0,"done":true},{"stream":1,"done":true}])"));
  EXPECT_TRUE(lines[1].at("first")[0].contains("time")) << "and is live again after the next";
  const CommandResult text = RunQbflv({"seek", Sample("tour.flv"), "99999999"});
  EXPECT_EQ(Lines(text.out).size(), 2U);
  EXPECT_NE(text.out.find("done"), std::string::npos);
}

TEST(SeekCommand, ThatFails_ShowsTheStatusAndTriesTheOtherTimes) {
  const WorkFolder folder;
  const std::string bytes = ReadBytes(Sample("tour.flv"));
  // Without the last size nothing can be read behind the last tag.
  WriteBytes(folder / "cut.flv", bytes.substr(0, bytes.size() - 4));
  const Words arguments{"seek", "--host-eof", "fail", folder / "cut.flv", "99999999", "3000"};
  const CommandResult json = RunQbflv(arguments + Words{"--json"});
  EXPECT_EQ(json.status, 1);
  EXPECT_NE(json.err.find("99999999 ms: 0x80004005"), std::string::npos) << json.err;
  const std::vector<Json> lines = JsonLines(json.out);
  ASSERT_EQ(lines.size(), 2U);
  EXPECT_EQ(lines[0].at("status"), "0x80004005");
  EXPECT_EQ(lines[0].at("first"), Json::array());
  EXPECT_EQ(lines[1].at("status"), "0x00000000");
  EXPECT_EQ(lines[1].at("first")[1].at("time"), 2000);
  const CommandResult text = RunQbflv(arguments);
  EXPECT_EQ(text.status, 1);
  EXPECT_EQ(Lines(text.out).size(), 3U);
}

TEST(SeekCommand, WithoutUsableTimes_IsBadUsage) {
  for (const Words& times : {Words{}, Words{"soon"}, Words{"-5"}, Words{"4294967296"}, Words{"1", "2x"}}) {
    EXPECT_EQ(RunQbflv(Words{"seek", Sample("tour.flv")} + times).status, 2);
  }
}

std::vector<std::string> PacketsFrom(const char* sample, const std::string& start) {
  const CommandResult result = RunQbflv({"packets", "--json", "--start", start, Sample(sample)});
  EXPECT_EQ(result.status, 0) << result.err;
  return Lines(result.out);
}

TEST(Packets, FromAStart_AreTheEndOfTheWholeListing) {
  for (const char* const sample : kSamples) {
    const CommandResult whole = RunQbflv({"packets", "--json", Sample(sample)});
    for (const std::string start : {"1500", "3000", "7990"}) {
      SCOPED_TRACE(sample + (" from " + start));
      const std::vector<std::string> from = PacketsFrom(sample, start);
      const std::vector<std::string> all = Lines(whole.out);
      ASSERT_LT(from.size(), all.size());
      ASSERT_GT(from.size(), 10U);
      // Of each stream the last packets, and nothing between them is missing.
      for (const char* const stream : {R"("stream":0,)", R"("stream":1,)"}) {
        std::vector<std::string> mine, theirs;
        std::ranges::copy_if(from, std::back_inserter(mine), [&](const auto& l) { return l.find(stream) != l.npos; });
        std::ranges::copy_if(all, std::back_inserter(theirs), [&](const auto& l) { return l.find(stream) != l.npos; });
        ASSERT_LE(mine.size(), theirs.size());
        theirs.erase(theirs.begin(), theirs.end() - static_cast<std::ptrdiff_t>(mine.size()));
        EXPECT_TRUE(SameLines(theirs, mine));
      }
    }
  }
}

}  // namespace
}  // namespace qbflv::e2e
