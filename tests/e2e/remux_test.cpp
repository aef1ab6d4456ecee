// `qbflv remux`: the file it writes, and what it leaves alone when it fails.
#include <gtest/gtest.h>

#include "tests/e2e/command.h"
#include "tests/e2e/expected_listing.h"
#include "tests/e2e/fixture.h"
#include "tests/e2e/flv_file.h"
#include "tests/e2e/host_mode.h"

namespace qbflv::e2e {
namespace {

std::string DecodedDigest(const std::filesystem::path& path, const char* streams) {
  const CommandResult result = RunCommand({"ffmpeg", "-v", "error", "-xerror", "-nostdin", "-i", path, "-map", streams,
                                           "-vsync", "passthrough", "-f", "md5", "-"});
  EXPECT_EQ(result.status, 0);
  EXPECT_EQ(result.err, "");
  return result.out;
}

std::vector<std::string> PacketLines(const FlvFile& file) {
  std::vector<std::string> lines;
  for (const Tag& tag : file.tags) {
    if (tag.IsMedia()) lines.push_back(PacketLine(file, tag));
  }
  return lines;
}

TEST(Remux, WritesTheDeliveredPacketsAsAValidFile) {
  const WorkFolder folder;
  const std::filesystem::path out = folder / "out.flv";
  for (const char* const sample : {"tour.flv", "sorenson.flv"}) {
    const FlvFile original = ParseFlv(ReadBytes(Sample(sample)));
    for (const HostMode& mode : AllHostModes()) {
      SCOPED_TRACE(sample + (", " + mode.Name()));
      const CommandResult result = RunQbflv(Words{"remux", Sample(sample), out} + mode.Options());
      ASSERT_EQ(result.status, 0) << result.err;
      const std::string bytes = ReadBytes(out);
      const FlvFile written = ParseFlv(bytes);
      // Every field that is no tag's own is right, and nothing stands behind the last size.
      EXPECT_EQ(bytes, FormatFlv(written));
      std::vector<std::string> expected = ExpectedListing(original, mode.ShowsTheEnd());
      std::erase_if(expected, [](const std::string& line) { return line.find("done") != std::string::npos; });
      EXPECT_TRUE(SameLines(expected, PacketLines(written)));
    }
  }
}

TEST(Remux, OfAWholeFile_KeepsEveryBodyAndDecodesToTheSame) {
  const WorkFolder folder;
  const std::filesystem::path out = folder / "out.flv";
  for (const char* const sample : {"tour.flv", "sorenson.flv"}) {
    SCOPED_TRACE(sample);
    const CommandResult result = RunQbflv({"remux", Sample(sample), out});
    ASSERT_EQ(result.status, 0) << result.err;
    const FlvFile original = ParseFlv(ReadBytes(Sample(sample)));
    const FlvFile written = ParseFlv(ReadBytes(out));
    EXPECT_EQ(written.hasAudio, original.hasAudio);
    EXPECT_EQ(written.hasVideo, original.hasVideo);
    EXPECT_EQ(written.TagsOfType(kAudioTag), original.TagsOfType(kAudioTag));
    std::vector<Tag> video = original.TagsOfType(kVideoTag);
    // The mark at the end of an AVC sequence has its last picture's time: that stream is done before it.
    if (video.back().time == video[video.size() - 2].time) video.pop_back();
    EXPECT_EQ(written.TagsOfType(kVideoTag), video);
    for (const char* const streams : {"0:v", "0:a"}) {
      SCOPED_TRACE(streams);
      EXPECT_EQ(DecodedDigest(out, streams), DecodedDigest(Sample(sample), streams));
    }
  }
}

TEST(Remux, OfTheWholeFile_KeepsTheMetadataThatStillHolds) {
  const WorkFolder folder;
  const std::filesystem::path out = folder / "whole.flv";
  ASSERT_EQ(RunQbflv({"remux", Sample("tour.flv"), out}).status, 0);
  const CommandResult before = RunQbflv({"info", Sample("tour.flv")});
  const CommandResult after = RunQbflv({"info", out});
  EXPECT_TRUE(SameLines(Lines(before.out), Lines(after.out)));
  const FlvFile written = ParseFlv(ReadBytes(out));
  EXPECT_EQ(written.tags[0].body.find("keyframes"), std::string::npos);
  EXPECT_NE(written.tags[0].body.find("duration"), std::string::npos);
}

TEST(Remux, OfItsOwnOutput_ChangesNothingMore) {
  const WorkFolder folder;
  const std::filesystem::path out = folder / "out.flv";
  ASSERT_EQ(RunQbflv({"remux", Sample("sorenson.flv"), out}).status, 0);
  const std::string once = ReadBytes(out);
  ASSERT_EQ(RunQbflv({"remux", out, out}).status, 0);
  EXPECT_EQ(once, ReadBytes(out));
}

TEST(Remux, ThatFails_LeavesTheOldFileAndNothingElse) {
  const std::string old = "what was there before";
  const struct {
    const char* name;
    Words words;
  } cases[] = {
      {"no input", {QBFLV_COMMAND, "remux", "absent.flv"}},
      {"not an FLV file", {QBFLV_COMMAND, "remux", QBFLV_COMMAND}},
      // The shell's limit is 4 KiB, and writing past it fails as it would on a full disk.
      {"no room",
       {"sh", "-c", "trap '' XFSZ; ulimit -f 8; exec \"$@\"", "sh", QBFLV_COMMAND, "remux", Sample("tour.flv")}},
  };
  for (const auto& [name, words] : cases) {
    SCOPED_TRACE(name);
    const WorkFolder folder;
    WriteBytes(folder / "out.flv", old);
    const CommandResult result = RunCommand(words + Words{folder / "out.flv"});
    EXPECT_EQ(result.status, 1);
    EXPECT_EQ(Lines(result.err).size(), 1U) << result.err;
    EXPECT_EQ(folder.Names(), std::vector<std::string>{"out.flv"});
    EXPECT_EQ(ReadBytes(folder / "out.flv"), old);
  }
}

}  // namespace
}  // namespace qbflv::e2e
