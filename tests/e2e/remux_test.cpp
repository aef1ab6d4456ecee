// `qbflv remux` of whole files.
#include <gtest/gtest.h>

#include "tests/e2e/command.h"
#include "tests/e2e/fixture.h"
#include "tests/e2e/flv_file.h"

namespace qbflv::e2e {
namespace {

std::string DecodedDigest(const std::filesystem::path& path, const char* streams) {
  const CommandResult result = RunCommand({"ffmpeg", "-v", "error", "-xerror", "-nostdin", "-i", path, "-map", streams,
                                           "-vsync", "passthrough", "-f", "md5", "-"});
  EXPECT_EQ(result.status, 0);
  EXPECT_EQ(result.err, "");
  return result.out;
}

TEST(Remux, OfAWholeFile_KeepsEveryBodyAndDecodesToTheSame) {
  const TemporaryFolder folder;
  const std::filesystem::path out = folder / "out.flv";
  for (const char* const sample : {"tour.flv", "sorenson.flv"}) {
    SCOPED_TRACE(sample);
    const CommandResult result = RunQbflv({"remux", Sample(sample), out});
    ASSERT_EQ(result.status, 0) << result.err;
    const FlvFile original = ParseFlv(ReadBytes(Sample(sample)));
    const FlvFile written = ParseFlv(ReadBytes(out));
    // Every field that is no tag's own is right, and nothing stands after the last size.
    EXPECT_EQ(ReadBytes(out), FormatFlv(written));
    EXPECT_TRUE(written.hasAudio && written.hasVideo);
    EXPECT_EQ(written.TagsOfType(kAudioTag), original.TagsOfType(kAudioTag));
    EXPECT_EQ(written.TagsOfType(kVideoTag), original.TagsOfType(kVideoTag));
    for (const char* const streams : {"0:v", "0:a"}) {
      EXPECT_EQ(DecodedDigest(out, streams), DecodedDigest(Sample(sample), streams)) << streams;
    }
  }
}

TEST(Remux, OfAWholeFile_KeepsTheTextsAndListsTheKeyFrames) {
  const TemporaryFolder folder;
  const std::filesystem::path out = folder / "out.flv";
  for (const bool hasList : {true, false}) {
    const Words options = hasList ? Words{} : Words{"--no-index"};
    ASSERT_EQ(RunQbflv(Words{"remux", Sample("tour.flv"), out} + options).status, 0);
    const std::string metadata = ParseFlv(ReadBytes(out)).tags[0].body;
    EXPECT_NE(metadata.find("A short tour"), std::string::npos);
    EXPECT_EQ(metadata.find("keyframes") != std::string::npos, hasList);
    const CommandResult judged = RunCommand({"flvmeta", "-C", out});
    EXPECT_NE(judged.out.find("0 error(s)"), std::string::npos) << judged;
  }
}

TEST(Remux, OfItsOwnOutput_ChangesNothingMore) {
  const TemporaryFolder folder;
  const std::filesystem::path out = folder / "out.flv";
  ASSERT_EQ(RunQbflv({"remux", Sample("sorenson.flv"), out}).status, 0);
  const std::string once = ReadBytes(out);
  std::filesystem::create_hard_link(out, folder / "other-name.flv");
  EXPECT_EQ(RunQbflv({"remux", out, folder / "other-name.flv"}).status, 1) << "it would read what it writes";
  ASSERT_EQ(RunQbflv({"remux", "--in-place", out}).status, 0);
  EXPECT_EQ(once, ReadBytes(out));
  const CommandResult piped = RunQbflv({"remux", out, "-"});
  EXPECT_EQ(once, piped.out);
}

}  // namespace
}  // namespace qbflv::e2e
