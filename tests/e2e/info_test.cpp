// `qbflv info`: what it prints of a whole file, and of one whose audio stream gets no header.
#include <gtest/gtest.h>

#include <nlohmann/json.hpp>

#include "tests/e2e/command.h"
#include "tests/e2e/fixture.h"
#include "tests/e2e/flv_file.h"

namespace qbflv::e2e {
namespace {

using Json = nlohmann::json;

Json Info(const std::filesystem::path& path, const Words& options) {
  const CommandResult result = RunQbflv(Words{"info", "--json", path} + options);
  EXPECT_EQ(result.status, 0) << result.err;
  return Json::parse(result.out, nullptr, false);
}

TEST(Info, OfASample_DescribesPluginFileAndStreams) {
  const Json info = Info(Sample("tour.flv"), {});
  EXPECT_EQ(info.at("plugin").at("description"), "Quelbar FLV File Format Plugin");
  EXPECT_EQ(info.at("plugin").at("mime_types"), Json({"video/x-flv"}));
  EXPECT_EQ(info.at("plugin").at("extensions"), Json({"flv"}));
  EXPECT_EQ(info.at("plugin").at("open_names"), Json({"Flash Video Files (*.flv)"}));
  EXPECT_EQ(info.at("plugin").at("packet_formats"), Json({"rtmp"}));
  EXPECT_EQ(info.at("file_header"), Json({{"StreamCount", 2},
                                          {"Title", "A short tour"},
                                          {"Author", "the qbflvplus authors"},
                                          {"Copyright", "Free to copy"}}));
  ASSERT_EQ(info.at("streams").size(), 2U);
  EXPECT_EQ(info.at("streams")[0].at("PayloadType"), kAudioTag);
  EXPECT_EQ(info.at("streams")[1].at("PayloadType"), kVideoTag);
}

TEST(Info, DurationsComeFromTheLastTagsWhereTheHostShowsThem) {
  struct Case {
    const char* sample;
    Words options;
    int audio;
    int video;
  };
  // The audio's last time and the gap before it; else what the metadata says; without metadata ten seconds.
  const std::vector<Tag> audio = ParseFlv(ReadBytes(Sample("sorenson.flv"))).TagsOfType(kAudioTag);
  const std::vector<Tag> video = ParseFlv(ReadBytes(Sample("sorenson.flv"))).TagsOfType(kVideoTag);
  const auto last = static_cast<int>(audio.back().time);
  const auto oneBefore = static_cast<int>(audio[audio.size() - 2].time);
  const Case cases[] = {
      {"sorenson.flv", {}, 2 * last - oneBefore, static_cast<int>(video.back().time)},
      {"sorenson.flv", {"--host-order", "linear"}, 10000, 10000},
      {"sorenson.flv", {"--host-stat", "no"}, 10000, 10000},
      {"sorenson.flv", {"--host-stat", "fail"}, 10000, 10000},
      {"tour.flv", {"--host-order", "linear"}, 10080, 10080},
  };
  for (const Case& one : cases) {
    SCOPED_TRACE(one.sample + testing::PrintToString(one.options));
    const Json streams = Info(Sample(one.sample), one.options).at("streams");
    EXPECT_EQ(streams.at(0).at("Duration"), one.audio);
    EXPECT_EQ(streams.at(1).at("Duration"), one.video);
  }
}

TEST(Info, AcceptMetaInfoHeader_AddsTheSourcesProperties) {
  const Words accept = {"--header", "AcceptMetaInfo=*"};
  EXPECT_FALSE(Info(Sample("tour.flv"), {}).at("streams").at(1).contains("SrcWidth"));
  EXPECT_EQ(Info(Sample("tour.flv"), accept).at("streams").at(1).at("SrcWidth"), 320);
}

/// The first two seconds of a file without metadata: too little audio to measure its rate.
class ShortFile : public testing::Test {
 protected:
  void SetUp() override {
    FlvFile file = ParseFlv(ReadBytes(Sample("sorenson.flv")));
    std::erase_if(file.tags, [](const Tag& tag) { return tag.time >= 2000; });
    std::string bytes = FormatFlv(file);
    WriteBytes(m_whole, bytes);
    bytes.resize(bytes.size() - 4);
    WriteBytes(m_withoutLastSize, bytes);
  }

  const WorkFolder m_folder;
  const std::filesystem::path m_whole = m_folder / "short.flv";
  const std::filesystem::path m_withoutLastSize = m_folder / "shorter.flv";
};

TEST_F(ShortFile, WhoseEndGivesAShortRead_HasNoAudioHeader) {
  for (const Words& options : {Words{}, Words{"--host-eof", "fail"}, Words{"--host-io", "queued"}}) {
    SCOPED_TRACE(testing::PrintToString(options));
    const Json streams = Info(m_whole, options).at("streams");
    EXPECT_EQ(streams.at(0), Json({{"error", "0x80040009"}}));
    EXPECT_EQ(streams.at(1).at("Width"), 176);
  }
}

TEST_F(ShortFile, WithoutAllHeaders_GivesNoPacketsAndNamesTheStream) {
  for (const Words& words : {Words{"packets", m_whole}, Words{"remux", m_whole, m_folder / "out.flv"}}) {
    SCOPED_TRACE(words[0]);
    const CommandResult result = RunQbflv(words);
    EXPECT_EQ(result.status, 1);
    EXPECT_EQ(result.out, "");
    EXPECT_EQ(Lines(result.err).size(), 1U) << result.err;
    EXPECT_NE(result.err.find("stream 0"), std::string::npos) << result.err;
    EXPECT_NE(result.err.find("0x80040009"), std::string::npos) << result.err;
  }
  EXPECT_EQ(m_folder.Names(), (std::vector<std::string>{"short.flv", "shorter.flv"}));
}

TEST_F(ShortFile, WhoseEndFailsTheRead_GetsItsAudioMeasuredToTheEnd) {
  const std::vector<Tag> audio = ParseFlv(ReadBytes(m_whole)).TagsOfType(kAudioTag);
  const Json header = Info(m_withoutLastSize, {"--host-eof", "fail"}).at("streams").at(0);
  EXPECT_EQ(header.at("Duration"), 2 * audio.back().time - audio[audio.size() - 2].time);
  EXPECT_EQ(Info(m_withoutLastSize, {"--host-eof", "short"}).at("streams").at(0), Json({{"error", "0x80040009"}}));
}

}  // namespace
}  // namespace qbflv::e2e
