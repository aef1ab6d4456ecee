// `qbflv remux` of whole files, and of parts: they begin with what a player needs, and a decoder takes them.
#include <gtest/gtest.h>

#include <iterator>
#include <nlohmann/json.hpp>
#include <stdexcept>

#include "tests/e2e/command.h"
#include "tests/e2e/fixture.h"
#include "tests/e2e/flv_file.h"

namespace qbflv::e2e {
namespace {

using Json = nlohmann::json;

/// The stream, times and digest of each packet, as an independent reader finds them.
std::string IndependentListing(const std::filesystem::path& path) {
  const CommandResult result = RunCommand({"ffmpeg", "-v", "error", "-xerror", "-nostdin", "-i", path, "-map", "0:v",
                                           "-map", "0:a", "-c", "copy", "-copyts", "-f", "framemd5", "-"});
  EXPECT_EQ(result.status, 0);
  EXPECT_EQ(result.err, "");
  return result.out;
}

TEST(Remux, OfAWholeFile_KeepsEveryBodyForAnyReader) {
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
    EXPECT_TRUE(SameLines(Lines(IndependentListing(Sample(sample))), Lines(IndependentListing(out))));
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
  const std::filesystem::path out = folder.Write("out.flv", "old");
  const std::filesystem::path link = folder / "link.flv";
  std::filesystem::permissions(out, std::filesystem::perms(0640));
  std::filesystem::create_symlink("out.flv", link);
  ASSERT_EQ(RunQbflv({"remux", Sample("sorenson.flv"), link}).status, 0);
  EXPECT_TRUE(std::filesystem::is_symlink(link));
  EXPECT_EQ(std::filesystem::status(out).permissions(), std::filesystem::perms(0640));
  const std::string once = ReadBytes(out);
  std::filesystem::create_hard_link(out, folder / "other-name.flv");
  EXPECT_EQ(RunQbflv({"remux", out, folder / "other-name.flv"}).status, 1) << "it would read what it writes";
  ASSERT_EQ(RunQbflv({"remux", "--in-place", out}).status, 0);
  EXPECT_EQ(once, ReadBytes(out));
  const CommandResult piped = RunQbflv({"remux", out, "-"});
  EXPECT_EQ(once, piped.out);
}

Tag FirstFrame(const FlvFile& file) {
  for (const Tag& tag : file.tags) {
    if (tag.type == kVideoTag && !tag.IsConfiguration()) return tag;
  }
  throw std::runtime_error("no video frame");
}

/// In alphabetical order.
std::vector<std::string> Configurations(const std::vector<Tag>& tags) {
  std::vector<std::string> bodies;
  for (const Tag& tag : tags) {
    if (tag.IsMedia() && tag.IsConfiguration()) bodies.push_back(tag.body);
  }
  std::ranges::sort(bodies);
  return bodies;
}

/// Without a complaint.
void ExpectDecodes(const std::filesystem::path& path) {
  EXPECT_EQ(RunCommand({"ffmpeg", "-v", "error", "-xerror", "-nostdin", "-i", path, "-f", "null", "-"}),
            (CommandResult{0, "", ""}));
}

TEST(RemuxPart, BeginsWithWhatAPlayerNeeds) {
  const struct {
    const char* sample;
    Words options;
    /// Times of the first video frame and of the last tag.
    std::uint32_t first;
    std::uint32_t last;
  } cases[] = {
      {"tour.flv", {"--start", "3000"}, 2000, 10089},
      {"tour.flv", {"--end", "2500"}, 0, 2500},
      {"tour.flv", {"--start", "5000", "--end", "6000"}, 4000, 6000},
      {"tour.flv", {"--start", "5000", "--end", "6000", "--rebase"}, 0, 2000},
      {"sorenson.flv", {"--start", "0"}, 50, 8046},
      {"sorenson.flv", {"--start", "5000", "--end", "6000", "--rebase"}, 0, 1950},
  };
  for (const auto& row : cases) {
    SCOPED_TRACE(row.sample + testing::PrintToString(row.options));
    const std::vector<std::string> configurations = Configurations(ParseFlv(ReadBytes(Sample(row.sample))).tags);
    const TemporaryFolder folder;
    const std::filesystem::path out = folder / "part.flv";
    const CommandResult result = RunQbflv(Words{"remux", Sample(row.sample), out} + row.options);
    ASSERT_EQ(result.status, 0) << result.err;
    const std::string bytes = ReadBytes(out);
    const FlvFile part = ParseFlv(bytes);
    EXPECT_EQ(bytes, FormatFlv(part));
    ASSERT_GT(part.tags.size(), 20U);
    EXPECT_NE(part.tags[0].body.find("keyframes"), std::string::npos);
    const auto front = part.tags.begin() + 1;
    const auto behind = front + static_cast<std::ptrdiff_t>(configurations.size());
    EXPECT_EQ(Configurations({front, behind}), configurations) << "they stand in front";
    EXPECT_EQ(Configurations({behind, part.tags.end()}), std::vector<std::string>{}) << "and once";
    EXPECT_TRUE(FirstFrame(part).IsKeyFrame());
    EXPECT_EQ(FirstFrame(part).time, row.first);
    for (const Tag& tag : part.tags) EXPECT_LE(tag.time, row.last);
    EXPECT_GE(part.tags.back().time + 50, row.last);
    ExpectDecodes(out);
    EXPECT_EQ(RunCommand({"flvmeta", "-C", out}).out.find("filesize"), std::string::npos) << "the size is right";
    // Where the list says are key frames, and every announced stream is there.
    const Json checked = Json::parse(RunQbflv({"check", "--json", out}).out);
    for (const Json& finding : checked.at("findings")) EXPECT_EQ(finding.at("name"), "late-start");
  }
}

TEST(RemuxPart, WhereverTheTimesBegin_IsTheSameRebased) {
  FlvFile original = ParseFlv(ReadBytes(Sample("tour.flv")));
  // One packet that goes back behind the restart at 4000 ms, where its own time would be negative.
  const auto late =
      std::ranges::find_if(original.tags, [](const Tag& tag) { return tag.type == kAudioTag && tag.time > 4040; });
  late->time = 3990;
  const TemporaryFolder folder;
  std::vector<Tag> expected;
  for (const std::uint32_t shift : {0U, 10'000U, 0x7FFFF000U, 0xFFFFF000U}) {
    SCOPED_TRACE(shift);
    FlvFile shifted = original;
    for (Tag& tag : shifted.tags) tag.time += shift;
    const auto in = folder.Write("in.flv", FormatFlv(shifted));
    ASSERT_EQ(RunQbflv({"remux", in, folder / "out.flv"}).status, 0);
    EXPECT_TRUE(ParseFlv(ReadBytes(folder / "out.flv")).TagsOfType(kVideoTag) == shifted.TagsOfType(kVideoTag));
    const CommandResult result =
        RunQbflv({"remux", in, folder / "out.flv", "--start", "5000", "--end", "7000", "--rebase"});
    ASSERT_EQ(result.status, 0) << result.err;
    const FlvFile part = ParseFlv(ReadBytes(folder / "out.flv"));
    EXPECT_EQ(FirstFrame(part).time, 0U);
    EXPECT_EQ(std::ranges::count(part.tags, late->body, &Tag::body), 1);
    for (const Tag& tag : part.tags) EXPECT_LE(tag.time, 3000U);
    if (shift == 0) expected = part.tags;
    EXPECT_TRUE(expected == part.tags);
  }
}

TEST(RemuxPart, FromAnAudioRestart_LeavesOutVideoThatCannotBeDecoded) {
  FlvFile file = ParseFlv(ReadBytes(Sample("tour.flv")));
  // Without the key-frame list the seek scans, and finds audio before the key frame.
  std::string& metadata = file.tags[0].body;
  metadata.replace(metadata.find("keyframes"), 9, "disguised");
  const auto keyFrame =
      std::ranges::find_if(file.tags, [](const Tag& tag) { return tag.IsKeyFrame() && tag.time == 4000; });
  const auto frameBefore = std::find_if(std::reverse_iterator(keyFrame), file.tags.rend(),
                                        [](const Tag& tag) { return tag.type == kVideoTag; });
  ASSERT_FALSE(frameBefore->IsKeyFrame());
  std::rotate(std::prev(frameBefore.base()), frameBefore.base(), keyFrame);
  const TemporaryFolder folder;
  folder.Write("in.flv", FormatFlv(file));

  const CommandResult delivered =
      RunQbflv({"packets", "--json", "--stream", "1", "--limit", "1", "--start", "4001", folder / "in.flv"});
  EXPECT_EQ(Json::parse(delivered.out).at("asm_flags"), 2) << "the case is the one that it should be";
  ASSERT_EQ(RunQbflv({"remux", "--start", "4001", folder / "in.flv", folder / "out.flv"}).status, 0);
  const Tag first = FirstFrame(ParseFlv(ReadBytes(folder / "out.flv")));
  EXPECT_TRUE(first.IsKeyFrame() && first.time == 4000) << first.time;
  ExpectDecodes(folder / "out.flv");
}

}  // namespace
}  // namespace qbflv::e2e
