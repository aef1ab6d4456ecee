// `qbflv remux` of parts of a file: they begin with what a player needs, and a decoder takes them.
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

/// A decoder finds nothing to complain of, and its first picture is the file's first key frame.
void ExpectDecodesFromItsFirstFrame(const std::filesystem::path& path) {
  const CommandResult decoded =
      RunCommand({"ffmpeg", "-v", "error", "-xerror", "-nostdin", "-i", path, "-f", "null", "-"});
  EXPECT_EQ(decoded, (CommandResult{0, "", ""}));
  const Tag frame = FirstFrame(ParseFlv(ReadBytes(path)));
  EXPECT_TRUE(frame.IsKeyFrame());
  const CommandResult probed = RunCommand({"ffprobe", "-v", "error", "-select_streams", "v", "-read_intervals", "%+#1",
                                           "-show_entries", "frame=key_frame,pts", "-of", "json", path});
  ASSERT_EQ(probed.status, 0) << probed.err;
  const Json picture = Json::parse(probed.out).at("frames").at(0);
  EXPECT_EQ(picture.at("key_frame"), 1);
  // An H.264 frame says how much later than its time a player shows it, in ms.
  const int later = frame.IsAvc() ? frame.Byte(2) << 16 | frame.Byte(3) << 8 | frame.Byte(4) : 0;
  EXPECT_EQ(picture.at("pts"), static_cast<int>(frame.time) + later);
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
    EXPECT_EQ(FirstFrame(part).time, row.first);
    for (const Tag& tag : part.tags) EXPECT_LE(tag.time, row.last);
    EXPECT_GE(part.tags.back().time + 50, row.last);
    ExpectDecodesFromItsFirstFrame(out);
    EXPECT_EQ(RunCommand({"flvmeta", "-C", out}).out.find("filesize"), std::string::npos) << "the size is right";
    // Where the list says are key frames, and every announced stream is there.
    const Json checked = Json::parse(RunQbflv({"check", "--json", out}).out);
    for (const Json& finding : checked.at("findings")) EXPECT_EQ(finding.at("name"), "late-start");
  }
}

TEST(RemuxPart, Rebased_IsTheSameWhereverTheTimesBegin) {
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
  EXPECT_EQ(FirstFrame(ParseFlv(ReadBytes(folder / "out.flv"))).time, 4000U);
  ExpectDecodesFromItsFirstFrame(folder / "out.flv");
}

}  // namespace
}  // namespace qbflv::e2e
