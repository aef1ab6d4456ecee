// `qbflv info`: what it prints of a whole file, and of one whose audio stream gets no header; and the README's sample
// output.
#include <gtest/gtest.h>

#include <algorithm>
#include <nlohmann/json.hpp>

#include "tests/e2e/command.h"
#include "tests/e2e/fixture.h"
#include "tests/e2e/flv_file.h"

namespace qbflv::e2e {
namespace {

using Json = nlohmann::json;

TEST(Info, OfASample_DescribesPluginFileAndStreams) {
  const CommandResult result =
      RunQbflv({"info", "--json", "--header", "ACCEPTmetainfo=*", Sample("tour.flv"), "--host-order", "linear"});
  EXPECT_EQ(result.status, 0) << result.err;
  const Json info = Json::parse(result.out);
  EXPECT_EQ(info.at("plugin").at("description"), "Quelbar FLV File Format Plugin");
  EXPECT_EQ(info.at("plugin").at("version_text"), "0xe03000de");
  EXPECT_EQ(info.at("plugin").at("mime_types"), Json({"video/x-flv"}));
  EXPECT_EQ(info.at("plugin").at("packet_formats"), Json({"rtmp"}));
  EXPECT_EQ(info.at("file_header").at("Title"), "A short tour");
  ASSERT_EQ(info.at("streams").size(), 2U);
  EXPECT_EQ(info.at("streams")[0].at("PayloadType"), kAudioTag);
  EXPECT_EQ(info.at("streams")[1].at("SrcWidth"), 320);
  EXPECT_EQ(info.at("streams")[1].at("Duration"), 10080) << "the metadata's, as the host lets nobody see the end";
}

/// The first two seconds of a file without metadata: too little audio to measure its rate.
TEST(Info, OfAShortFile_ShowsWhichHeaderIsMissing) {
  const TemporaryFolder folder;
  FlvFile file = ParseFlv(ReadBytes(Sample("sorenson.flv")));
  std::erase_if(file.tags, [](const Tag& tag) { return tag.time >= 2000; });
  const auto path = folder.Write("short.flv", FormatFlv(file));
  const Json streams = Json::parse(RunQbflv({"info", "--json", path}).out).at("streams");
  EXPECT_EQ(streams.at(0), Json({{"error", "0x80040009"}}));
  EXPECT_EQ(streams.at(1).at("Width"), 176);
}

/// Dots stand for the rest of a line and for omitted lines.
TEST(Readme, SampleOutput_IsWhatTheCommandPrints) {
  std::vector<std::string> printed;
  for (const Words& words : {Words{"info"}, Words{"packets", "--limit", "20"}, Words{"packets", "--count"}}) {
    const std::vector<std::string> lines = Lines(RunQbflv(words + Words{Sample("tour.flv")}).out);
    printed.insert(printed.end(), lines.begin(), lines.end());
  }
  const std::vector<std::string> readme = Lines(ReadBytes(Sample("../README.md")));
  auto line = std::ranges::find(readme, "Plug-in");
  auto next = printed.begin();
  for (; line < readme.end() && *line != "```"; ++line) {
    const bool isCut = line->ends_with("...");
    const std::string start = isCut ? line->substr(0, line->size() - 3) : *line;
    next = std::find_if(next, printed.end(),
                        [&](const std::string& l) { return isCut ? l.starts_with(start) : l == start; });
    ASSERT_NE(next, printed.end()) << "not printed, or not in this order: " << *line;
    ++next;
  }
  EXPECT_GT(next - printed.begin(), 30);
}

}  // namespace
}  // namespace qbflv::e2e
