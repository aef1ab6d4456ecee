// Damaged files: what `qbflv check` finds, and that nothing playable is lost when the repaired view plays or rewrites
// them.
#include <gtest/gtest.h>

#include <nlohmann/json.hpp>

#include "tests/e2e/command.h"
#include "tests/e2e/fixture.h"
#include "tests/e2e/flv_file.h"

namespace qbflv::e2e {
namespace {

using Json = nlohmann::json;
using Tags = std::vector<Tag>;

struct DamagedFile {
  const char* name;
  /// What `qbflv check` finds, in its order.
  std::string findings;
  std::string bytes;
  /// The audio and video tags of this are playable.
  Tags playable;
};

std::string Format(const Tags& tags, bool audio = true, bool video = true) { return FormatFlv({audio, video, tags}); }

Tags Without(Tags tags, const auto& condition) {
  std::erase_if(tags, condition);
  return tags;
}

Tags Later(Tags tags, std::uint32_t time) {
  for (Tag& tag : tags) tag.time += time;
  return tags;
}

Tags Joined(Tags first, const Tags& second) {
  first.insert(first.end(), second.begin(), second.end());
  return first;
}

std::string Garbage(std::size_t size) {
  std::string garbage(size, '\0');
  for (std::size_t i = 0; i < size; ++i) garbage[i] = static_cast<char>(i * 2654435761U >> 13);
  return garbage;
}

std::vector<DamagedFile> DamagedFiles() {
  const Tags tags = ParseFlv(ReadBytes(Sample("tour.flv"))).tags;
  const std::string whole = Format(tags);
  const Tags half(tags.begin(), tags.begin() + 300);
  const std::string start = Format(half);
  const auto isScript = [](const Tag& tag) { return !tag.IsMedia(); };
  const auto isAudio = [](const Tag& tag) { return tag.type == kAudioTag; };
  Tags withEmptyTags = tags;
  for (const int at : {1, 2, 100}) {
    withEmptyTags.insert(withEmptyTags.begin() + at, {Tag{kAudioTag, 0, ""}, Tag{kVideoTag, 0, ""}});
  }
  Tags withOtherType = tags;
  withOtherType.insert(withOtherType.begin() + 2, Tag{15, 0, "?"});
  Tags shortAudio = Without(tags, [&](const Tag& tag) { return !isAudio(tag) || tag.time > 3000; });
  Tags longAudio = Without(tags, [&](const Tag& tag) { return tag.type == kVideoTag && tag.time > 1000; });
  for (Tag& tag : longAudio) tag.time += tag.time > 1000 ? 4000 : 0;
  Tags timelessConfiguration = longAudio;
  timelessConfiguration.insert(timelessConfiguration.begin() + 300, *std::ranges::find_if(tags, &Tag::IsAac));
  const Tags withoutAudio = Without(tags, isAudio);
  const Tags twice = Joined(tags, tags);
  const std::size_t inBody = start.size() - 10;
  const std::string list = "wrong-key-frame-list";
  const std::string durationAndList = "wrong-duration " + list;
  return {
      {"nothing wrong", "", whole, tags},
      {"no metadata", "no-metadata no-picture-size", Format(Without(tags, isScript)), tags},
      {"cut off inside a tag", durationAndList + " truncated-tag", start + whole.substr(start.size(), 13), half},
      {"no last size", durationAndList + " truncated-size", start.substr(0, start.size() - 4), half},
      {"announces absent audio", "absent-stream " + list, Format(withoutAudio), withoutAudio},
      {"announces nothing", "hidden-stream hidden-stream", Format(tags, false, false), tags},
      {"empty tags", list + " empty-tag", Format(withEmptyTags), tags},
      {"a tag of another type", list + " unknown-tag", Format(withOtherType), tags},
      {"garbage between tags", "garbage " + list, start + Garbage(1000) + whole.substr(start.size()), tags},
      {"garbage in a tag", "garbage " + list, start.substr(0, inBody) + Garbage(7) + whole.substr(inBody), tags},
      {"garbage at the end", "garbage", whole + Garbage(1000), tags},
      {"zeros at the end", "garbage", whole + std::string(1000, '\0'), tags},
      {"no sizes", "wrong-size", FormatFlv({true, true, tags}, false), tags},
      {"files joined as bytes", "joined-files wrong-duration time-jumps-back", whole + whole, twice},
      {"joined recordings", "wrong-duration time-jumps-back", Format(twice), twice},
      {"a leap of an hour", "wrong-duration time-leaps-ahead", Format(Joined(tags, Later(tags, 3'600'000))), twice},
      {"late by an hour", "late-start", Format(Later(tags, 3'600'000)), tags},
      {"short audio without a rate", "short-audio no-metadata", Format(shortAudio, true, false), shortAudio},
      {"audio that goes on alone", durationAndList + " loose-interleaving", Format(longAudio), longAudio},
      {"a repeated configuration of the time 0", durationAndList + " loose-interleaving", Format(timelessConfiguration),
       timelessConfiguration},
  };
}

/// All that `qbflv packets` delivers; 0 if it fails.
std::int64_t CountPackets(std::vector<std::string> arguments) {
  arguments.insert(arguments.begin(), {"packets", "--count", "--json"});
  std::int64_t packets = 0;
  for (const std::string& line : Lines(RunQbflv(arguments).out)) {
    packets += Json::parse(line).at("packets").get<std::int64_t>();
  }
  return packets;
}

TEST(Repair, OfDamagedFiles_LosesNothingPlayable) {
  const TemporaryFolder folder;
  for (const DamagedFile& row : DamagedFiles()) {
    SCOPED_TRACE(row.name);
    const std::filesystem::path in = folder.Write("in.flv", row.bytes);
    const std::filesystem::path out = folder / "out.flv";
    const auto count = [&](std::uint8_t type) { return std::ranges::count(row.playable, type, &Tag::type); };
    const CommandResult checked = RunQbflv({"check", "--json", in});
    EXPECT_EQ(checked.status, row.findings.empty() ? 0 : 1) << checked;
    std::string findings;
    const Json report = Json::parse(checked.out);
    for (const Json& finding : report.at("findings")) {
      findings += (findings.empty() ? "" : " ") + finding.at("name").get<std::string>();
    }
    EXPECT_EQ(findings, row.findings);

    // The plug-in delivers each of them, in every part of the view.
    EXPECT_EQ(CountPackets({"--repair", in}), count(kAudioTag) + count(kVideoTag));
    std::int64_t delivered = 0;
    for (const Json& stream : report.at("plain_host").at("streams")) {
      delivered += stream.at("delivered").get<std::int64_t>();
      EXPECT_EQ(stream.contains("why"), stream.at("delivered") < stream.at("tags")) << stream;
    }
    EXPECT_EQ(delivered, CountPackets({in})) << report.at("plain_host");

    const CommandResult remuxed = RunQbflv({"remux", "--strict", "--retime", "--rebase", "--json", in, out});
    ASSERT_EQ(remuxed.status, 0) << remuxed;
    const Json totals = Json::parse(remuxed.out);
    EXPECT_EQ(totals.at("audio_packets"), count(kAudioTag));
    EXPECT_EQ(totals.at("video_packets"), count(kVideoTag));
    const std::string bytes = ReadBytes(out);
    const FlvFile written = ParseFlv(bytes);
    EXPECT_EQ(bytes, FormatFlv(written)) << "every field of the structure is right";
    EXPECT_LT(written.tags.back().time, 21'000U) << "times go on where they jump, and begin at 0";
    // Of what is written, nothing is wrong but what cannot be mended: streams that run apart.
    EXPECT_LE(RunQbflv({"check", "--only", "warning", "--no-play", out}).status,
              row.findings.ends_with("loose-interleaving") ? 1 : 0);
    const CommandResult judged = RunCommand({"flvmeta", "-C", out});
    EXPECT_NE(judged.out.find("0 error(s)"), std::string::npos) << judged;
  }
}

TEST(Check, WritesAPageAboutOneFile) {
  const TemporaryFolder folder;
  const std::string whole = ReadBytes(Sample("tour.flv"));
  const std::filesystem::path in =
      folder.Write("a<b>.flv", whole.substr(0, 99'900) + Garbage(99) + whole.substr(99'900));
  const std::filesystem::path page = folder / "report.html";
  EXPECT_EQ(RunQbflv({"check", "--html", page, in}).status, 1);
  const std::string html = ReadBytes(page);
  for (const char* const part : {"a&lt;b&gt;.flv</title>", "<code>garbage</code>", "<title>garbage at ", "Bit rate",
                                 "Interval between key frames", "Interleaving of the streams", "of 433 packets"}) {
    EXPECT_NE(html.find(part), std::string::npos) << part;
  }
  EXPECT_EQ(html.find("a<b>"), std::string::npos);
  EXPECT_EQ(RunQbflv({"check", "--html", page, in, in}).status, 2) << "of two files";
  EXPECT_EQ(RunQbflv({"check", "--html", in, in}).status, 3) << "over the film";
  EXPECT_EQ(RunQbflv({"check", "--plugin", page, in}).status, 3) << "without the plug-in";
  EXPECT_EQ(ReadBytes(in).size(), whole.size() + 99);
}

TEST(Check, OfAFolder_FindsEveryFlvFileOrSaysThatThereIsNone) {
  const TemporaryFolder folder;
  EXPECT_EQ(RunQbflv({"check", "-r", folder.Path()}).status, 3);
  std::filesystem::create_directory(folder / "sub");
  folder.Write("sub/B.FLV", ReadBytes(Sample("tour.flv")));
  folder.Write("a.flv", ReadBytes(Sample("tour.flv")));
  folder.Write("a.txt", "no film");
  const CommandResult checked = RunQbflv({"check", "-r", "--json", "--no-play", folder.Path()});
  EXPECT_EQ(checked.status, 0) << checked;
  EXPECT_EQ(Lines(checked.out).size(), 2U) << checked;
}

}  // namespace
}  // namespace qbflv::e2e
