// `qbflv packets` with hosts of every kind, held against the bytes of the file.
#include <gtest/gtest.h>

#include <functional>

#include "tests/e2e/expected_listing.h"
#include "tests/e2e/fixture.h"
#include "tests/e2e/flv_file.h"
#include "tests/e2e/host_mode.h"

namespace qbflv::e2e {
namespace {

FlvFile OnlyTagsOf(FlvFile file, std::uint8_t type) {
  std::erase_if(file.tags, [=](const Tag& tag) { return tag.IsMedia() && tag.type != type; });
  file.hasAudio = type == kAudioTag;
  file.hasVideo = type == kVideoTag;
  return file;
}

std::string WithoutTheLast(std::string bytes, std::size_t count) {
  bytes.resize(bytes.size() - count);
  return bytes;
}

struct ListingCase {
  const char* name;
  const char* sample;
  std::function<std::string(const std::string&)> change;
  /// The last four bytes lead to the last tag.
  bool endIsWhole;
};

const ListingCase kListingCases[] = {
    {"H.264 and AAC", "tour.flv", {}, true},
    {"Sorenson and MP3, no metadata", "sorenson.flv", {}, true},
    {"video alone", "sorenson.flv", [](auto& all) { return FormatFlv(OnlyTagsOf(ParseFlv(all), kVideoTag)); }, true},
    {"audio alone", "sorenson.flv", [](auto& all) { return FormatFlv(OnlyTagsOf(ParseFlv(all), kAudioTag)); }, true},
    {"the last size missing", "sorenson.flv", [](auto& all) { return WithoutTheLast(all, 4); }, false},
    {"cut inside a tag's body", "sorenson.flv", [](auto& all) { return WithoutTheLast(all, 50); }, false},
    {"cut behind a tag's header", "tour.flv", [](auto& all) { return WithoutTheLast(all, 4 + 5); }, false},
    {"cut inside a tag's header", "tour.flv", [](auto& all) { return WithoutTheLast(all, 4 + 5 + 3); }, false},
};

TEST(Packets, InEveryHostMode_AreTheFilesTagsInTimeOrder) {
  const WorkFolder folder;
  for (const ListingCase& listing : kListingCases) {
    SCOPED_TRACE(listing.name);
    std::filesystem::path path = Sample(listing.sample);
    if (listing.change) {
      const std::string changed = listing.change(ReadBytes(path));
      path = folder / "changed.flv";
      WriteBytes(path, changed);
    }
    const FlvFile file = ParseFlv(ReadBytes(path));
    for (const HostMode& mode : AllHostModes()) {
      SCOPED_TRACE(mode.Name());
      const Words arguments = Words{"packets", "--json", path} + mode.Options();
      const CommandResult inlineHost = RunQbflv(arguments + Words{"--host-io", "inline"});
      EXPECT_EQ(inlineHost.status, 0) << inlineHost.err;
      EXPECT_TRUE(SameLines(ExpectedListing(file, listing.endIsWhole && mode.ShowsTheEnd()), Lines(inlineHost.out)));
      EXPECT_EQ(inlineHost, RunQbflv(arguments + Words{"--host-io", "queued"}));
    }
  }
}

/// The listing of a sample without those lines that a predicate drops.
std::vector<std::string> ListingWhere(const char* sample, const std::function<bool(const std::string&)>& keep) {
  std::vector<std::string> lines = ExpectedListing(ParseFlv(ReadBytes(Sample(sample))), true);
  std::erase_if(lines, [&](const std::string& line) { return !keep(line); });
  return lines;
}

TEST(Packets, OfOneStream_AreThoseOfTheWholeListing) {
  for (const int stream : {0, 1}) {
    const std::string prefix = "{\"stream\":" + std::to_string(stream) + ",";
    const CommandResult result =
        RunQbflv({"packets", "--json", "--stream", std::to_string(stream), Sample("tour.flv")});
    EXPECT_EQ(result.status, 0) << result.err;
    EXPECT_TRUE(
        SameLines(ListingWhere("tour.flv", [&](auto& line) { return line.starts_with(prefix); }), Lines(result.out)));
  }
}

TEST(Packets, WithALimit_StopAfterThatManyShown) {
  struct Case {
    Words options;
    std::size_t packets;
  };
  for (const auto& [options, packets] : {Case{{"--limit", "1"}, 1}, Case{{"--limit", "20"}, 20},
                                         Case{{"--limit", "3", "--stream", "1"}, 3}, Case{{"--limit", "0"}, 0}}) {
    SCOPED_TRACE(testing::PrintToString(options));
    const CommandResult result = RunQbflv(Words{"packets", "--json", Sample("tour.flv")} + options);
    EXPECT_EQ(result.status, 0) << result.err;
    const bool oneStream = options.size() > 2;
    std::vector<std::string> expected =
        ListingWhere("tour.flv", [&](auto& line) { return !oneStream || line.starts_with("{\"stream\":1,"); });
    expected.resize(packets);
    EXPECT_TRUE(SameLines(expected, Lines(result.out)));
  }
}

TEST(Packets, Counted_AreAsManyAndAsLongAsTheFilesTags) {
  const FlvFile file = ParseFlv(ReadBytes(Sample("sorenson.flv")));
  std::vector<std::string> expected;
  for (const std::uint8_t type : {kAudioTag, kVideoTag}) {
    std::size_t bytes = 0;
    const std::vector<Tag> tags = file.TagsOfType(type);
    for (const Tag& tag : tags) bytes += tag.body.size();
    expected.push_back("{\"stream\":" + std::to_string(expected.size()) +
                       ",\"packets\":" + std::to_string(tags.size()) + ",\"bytes\":" + std::to_string(bytes) + "}");
  }
  const CommandResult result = RunQbflv({"packets", "--count", "--json", Sample("sorenson.flv")});
  EXPECT_EQ(result.status, 0) << result.err;
  EXPECT_TRUE(SameLines(expected, Lines(result.out)));
}

}  // namespace
}  // namespace qbflv::e2e
