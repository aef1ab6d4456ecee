// `qbflv remux` of parts of a file: they begin with what a player needs, and a decoder takes them.
#include <gtest/gtest.h>

#include <iterator>
#include <nlohmann/json.hpp>
#include <stdexcept>

#include "tests/e2e/command.h"
#include "tests/e2e/fixture.h"
#include "tests/e2e/flv_file.h"
#include "tests/e2e/host_mode.h"

namespace qbflv::e2e {
namespace {

using Json = nlohmann::json;

bool IsConfiguration(const Tag& tag) {
  const auto first = static_cast<std::uint8_t>(tag.body[0]);
  const bool hasOne = tag.type == kAudioTag ? first >> 4 == 10 : (first & 0x0F) == 7;
  return tag.IsMedia() && hasOne && tag.body[1] == 0;
}

std::vector<Tag> Configurations(const FlvFile& file) {
  std::vector<Tag> found;
  std::ranges::copy_if(file.tags, std::back_inserter(found), IsConfiguration);
  return found;
}

Tag FirstFrame(const FlvFile& file) {
  const auto frame =
      std::ranges::find_if(file.tags, [](const Tag& tag) { return tag.type == kVideoTag && !IsConfiguration(tag); });
  return frame != file.tags.end() ? *frame : throw std::runtime_error("no video frame");
}

/// When a player shows the frame, in ms: an H.264 frame says how much later than its time that is.
int ShownAt(const Tag& frame) {
  const auto byte = [&](std::size_t at) { return static_cast<std::uint8_t>(frame.body[at]); };
  const bool isAvc = (byte(0) & 0x0F) == 7;
  return static_cast<int>(frame.time) + (isAvc ? byte(2) << 16 | byte(3) << 8 | byte(4) : 0);
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
  EXPECT_EQ(picture.at("pts"), ShownAt(frame));
}

FlvFile Remuxed(const std::filesystem::path& in, const Words& options) {
  const WorkFolder folder;
  const CommandResult result = RunQbflv(Words{"remux", in, folder / "part.flv"} + options);
  if (result.status != 0) throw std::runtime_error(result.err);
  return ParseFlv(ReadBytes(folder / "part.flv"));
}

struct PartCase {
  const char* sample;
  const char* name;
  Words options;
  /// Times of the first video frame and of the last tag.
  std::uint32_t first;
  std::uint32_t last;
};

TEST(RemuxPart, BeginsWithWhatAPlayerNeeds) {
  const PartCase cases[] = {
      {"tour.flv", "start", {"--start", "3000"}, 2000, 10089},
      {"tour.flv", "start at 0", {"--start", "0"}, 0, 10089},
      {"tour.flv", "end", {"--end", "2500"}, 0, 2500},
      {"tour.flv", "both", {"--start", "5000", "--end", "6000"}, 4000, 6000},
      {"tour.flv", "both, rebased", {"--start", "5000", "--end", "6000", "--rebase"}, 0, 2000},
      {"sorenson.flv", "start at 0", {"--start", "0"}, 50, 8046},
      {"sorenson.flv", "both", {"--start", "5000", "--end", "6000"}, 4050, 6000},
      {"sorenson.flv", "both, rebased", {"--start", "5000", "--end", "6000", "--rebase"}, 0, 1950},
  };
  for (const PartCase& row : cases) {
    SCOPED_TRACE(std::string(row.sample) + ", " + row.name);
    const FlvFile original = ParseFlv(ReadBytes(Sample(row.sample)));
    const std::vector<Tag> configurations = Configurations(original);
    const std::size_t metadataTags = original.tags[0].IsMedia() ? 0 : 1;
    const WorkFolder folder;
    const std::filesystem::path out = folder / "part.flv";
    const CommandResult result = RunQbflv(Words{"remux", Sample(row.sample), out} + row.options);
    ASSERT_EQ(result.status, 0) << result.err;
    const std::string bytes = ReadBytes(out);
    const FlvFile part = ParseFlv(bytes);
    EXPECT_EQ(bytes, FormatFlv(part));
    ASSERT_GT(part.tags.size(), 20U);
    EXPECT_EQ(part.tags[0].IsMedia(), metadataTags == 0);
    if (metadataTags == 1) {
      EXPECT_EQ(part.tags[0].body.find("keyframes"), std::string::npos);
      EXPECT_EQ(part.tags[0].body.find("duration"), std::string::npos);
      EXPECT_NE(part.tags[0].body.find("width"), std::string::npos);
    }
    const std::vector<Tag> written = Configurations(part);
    ASSERT_EQ(written.size(), configurations.size());
    for (std::size_t i = 0; i < written.size(); ++i) {
      EXPECT_EQ(part.tags[metadataTags + i], written[i]) << "stands in front";
      EXPECT_EQ(written[i].time, part.tags[0].time);
      EXPECT_TRUE(std::ranges::count(configurations, written[i].body, &Tag::body) == 1) << "is the original's";
    }
    EXPECT_EQ(FirstFrame(part).time, row.first);
    for (const Tag& tag : part.tags) EXPECT_LE(tag.time, row.last);
    EXPECT_GE(part.tags.back().time + 50, row.last);
    ExpectDecodesFromItsFirstFrame(out);
  }
}

TEST(RemuxPart, IsTheSameInEveryHostMode) {
  const Words options{"--start", "3000", "--end", "6000"};
  const FlvFile usual = Remuxed(Sample("tour.flv"), options);
  for (const HostMode& mode : AllHostModes()) {
    for (const char* const io : {"inline", "queued"}) {
      SCOPED_TRACE(mode.Name() + ", " + io);
      EXPECT_TRUE(usual.tags == Remuxed(Sample("tour.flv"), options + mode.Options() + Words{"--host-io", io}).tags);
    }
  }
}

TEST(RemuxPart, Rebased_IsTheSameWhereverTheTimesBegin) {
  FlvFile original = ParseFlv(ReadBytes(Sample("tour.flv")));
  // One packet that goes back behind the restart at 4000 ms, where its own time would be negative.
  const auto late =
      std::ranges::find_if(original.tags, [](const Tag& tag) { return tag.type == kAudioTag && tag.time > 4040; });
  late->time = 3990;
  const WorkFolder folder;
  const Words options{"--start", "5000", "--end", "7000", "--rebase"};
  WriteBytes(folder / "0.flv", FormatFlv(original));
  const FlvFile expected = Remuxed(folder / "0.flv", options);
  EXPECT_EQ(FirstFrame(expected).time, 0U);
  EXPECT_EQ(std::ranges::count_if(expected.tags, [&](const Tag& tag) { return tag.body == late->body; }), 1);
  for (const Tag& tag : expected.tags) EXPECT_LE(tag.time, 3000U);
  for (const std::uint32_t shift : {10'000U, 0x7FFFF000U, 0xFFFFF000U}) {
    SCOPED_TRACE(shift);
    FlvFile shifted = original;
    for (Tag& tag : shifted.tags) tag.time += shift;
    WriteBytes(folder / "shifted.flv", FormatFlv(shifted));
    EXPECT_TRUE(expected.tags == Remuxed(folder / "shifted.flv", options).tags);
  }
}

TEST(RemuxPart, UpToAnEnd_KeepsAPacketOlderThanTheFirst) {
  FlvFile file = ParseFlv(ReadBytes(Sample("sorenson.flv")));
  for (Tag& tag : file.tags) tag.time += 10'000;
  const auto older =
      std::ranges::find_if(file.tags, [](const Tag& tag) { return tag.type == kAudioTag && tag.time > 11'000; });
  older->time = 9990;
  const WorkFolder folder;
  WriteBytes(folder / "in.flv", FormatFlv(file));
  const FlvFile part = Remuxed(folder / "in.flv", {"--end", "2000"});
  EXPECT_EQ(std::ranges::count(part.tags, *older), 1);
  const std::uint32_t last = std::ranges::max(part.tags, {}, &Tag::time).time;
  EXPECT_TRUE(last > 11'950 && last <= 12'000) << last;
}

TEST(RemuxPart, FromAnAudioRestart_LeavesOutVideoThatCannotBeDecoded) {
  FlvFile file = ParseFlv(ReadBytes(Sample("tour.flv")));
  // Without the list of key frames the seek scans, and finds audio before the key frame.
  std::string& metadata = file.tags[0].body;
  metadata.replace(metadata.find("keyframes"), 9, "disguised");
  const auto keyFrame =
      std::ranges::find_if(file.tags, [](const Tag& tag) { return tag.IsKeyFrame() && tag.time == 4000; });
  const auto frameBefore = std::find_if(std::reverse_iterator(keyFrame), file.tags.rend(),
                                        [](const Tag& tag) { return tag.type == kVideoTag; });
  ASSERT_FALSE(frameBefore->IsKeyFrame());
  std::rotate(std::prev(frameBefore.base()), frameBefore.base(), keyFrame);
  const WorkFolder folder;
  WriteBytes(folder / "in.flv", FormatFlv(file));

  const CommandResult delivered =
      RunQbflv({"packets", "--json", "--stream", "1", "--limit", "1", "--start", "4001", folder / "in.flv"});
  EXPECT_EQ(Json::parse(delivered.out).at("asm_flags"), 2) << "the case is the one that it should be";
  ASSERT_EQ(RunQbflv({"remux", "--start", "4001", folder / "in.flv", folder / "out.flv"}).status, 0);
  EXPECT_EQ(FirstFrame(ParseFlv(ReadBytes(folder / "out.flv"))).time, 4000U);
  ExpectDecodesFromItsFirstFrame(folder / "out.flv");
}

TEST(RemuxPart, WithoutPackets_WritesNothing) {
  const struct {
    Words options;
    int status;
  } cases[] = {{{"--start", "99999999"}, 1}, {{"--start", "5000", "--end", "4999"}, 2}, {{"--end", "soon"}, 2}};
  for (const auto& [options, status] : cases) {
    SCOPED_TRACE(options.back());
    const WorkFolder folder;
    EXPECT_EQ(RunQbflv(Words{"remux", Sample("tour.flv"), folder / "out.flv"} + options).status, status);
    EXPECT_EQ(folder.Names(), std::vector<std::string>{});
  }
}

}  // namespace
}  // namespace qbflv::e2e
