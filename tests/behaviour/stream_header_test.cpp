// Stream headers: every property, the bit-rate estimate, the rule book, and what makes a header fail.
#include <gtest/gtest.h>

#include "tests/support/scripted_host.h"

namespace qbflv::test {
namespace {

FileScript Linear(const FlvBuilder& flv, std::optional<std::uint32_t> size = {}) {
  FileScript file{.bytes = flv.File(), .accessHint = kPrefersLinearAccess};
  if (size) file.rules.push_back({"Stat", 0, kOk, size});
  return file;
}

TEST(StreamHeaders, HaveEveryPropertyAndNoMore) {
  constexpr char kAudioStart[] =
      "StreamHeaderReady 0x00000000 {ASMRuleBook='AverageBandwidth=64000,"
      "TimestampDelivery=T,QTVKeyFrameRule=T;AverageBandwidth=0,TimestampDelivery=T,OnDepend=0;'/112 "
      "AvgBitRate=64000 BitsPerSample=16 Channels=1 Duration=69 MimeType='audio/x-qb-rtmp'/16 PayloadType=8 "
      "SamplesPerSecond=22050 ";
  constexpr char kVideoStart[] =
      "StreamHeaderReady 0x00000000 {ASMRuleBook='AverageBandwidth=300000,"
      "TimestampDelivery=T,QTVKeyFrameRule=T;AverageBandwidth=0,TimestampDelivery=T,OnDepend=0;'/113 "
      "AvgBitRate=300000 Duration=40 FrameHeight=240 FrameWidth=320 Height=240 MimeType='video/x-qb-rtmp'/16 "
      "PayloadType=9 SamplesPerSecond=1000 ";
  const struct {
    const char* name;
    const char* acceptMetaInfo;
    const char* audioEnd;
    const char* videoEnd;
  } cases[] = {{"plain", "title", "StreamNumber=0}", "StreamNumber=1 Width=320}"},
               {"everything accepted", "*",
                "SrcBitRate=64000 SrcBitsPerSample=16 SrcNumChannels=1 SrcSamplesPerSecond=22050 StreamNumber=0}",
                "SrcBitRate=300000 SrcHeight=240 SrcWidth=320 StreamNumber=1 Width=320}"}};
  for (const auto& row : cases) {
    ScriptedHost host({.file = {.bytes = SmallFile().File()}, .headers = {{"AcceptMetaInfo", row.acceptMetaInfo}}});
    ASSERT_TRUE(host.ReadHeaders());
    EXPECT_EQ((CallLog::Lines{std::string(kAudioStart) + row.audioEnd, std::string(kVideoStart) + row.videoEnd}),
              host.log.Only({"StreamHeaderReady"}))
        << row.name;
  }
}

TEST(StreamHeaders, OfAnUnknownVideo_NameWhatIsKnown) {
  ScriptedHost host({.file = {.bytes = FlvBuilder(kVideo).Tag(9, 0, VideoBody(20, 0x17)).File()},
                     .headers = {{"AcceptMetaInfo", "*"}}});
  ASSERT_TRUE(host.ReadHeaders());
  EXPECT_EQ(
      "StreamHeaderReady 0x00000000 {ASMRuleBook='AverageBandwidth=0,TimestampDelivery=T,QTVKeyFrameRule=T;"
      "AverageBandwidth=0,TimestampDelivery=T,OnDepend=0;'/108 Duration=10000 MimeType='video/x-qb-rtmp'/16 "
      "PayloadType=9 SamplesPerSecond=1000 StreamNumber=0}",
      host.log.All().back());
}

struct EstimateCase {
  const char* name;
  FileScript file;
  const char* rate;
};

TEST(StreamHeaders, EstimateTheVideoRateFromTheSize) {
  const auto described = [](std::uint8_t flags, double duration, amf::Entries more) {
    more.emplace_back("duration", amf::Number(duration));
    more.emplace_back("framerate", amf::Number(25));
    FlvBuilder flv(flags);
    flv.Metadata(amf::MixedArray(more)).Audio(0, 20).Video(0, 20);
    return flv;
  };
  const std::pair<std::string_view, Bytes> audioRate{"audiodatarate", amf::Number(128)};
  // Without metadata nothing but the tail's last video time tells a duration.
  FlvBuilder untold(kVideo);
  untold.Video(0, 20).Video(1000, 20).Video(10000, 20);
  FileScript failedStat = Linear(described(kVideo, 10, {}), 1250000);
  failedStat.stat = Stat::kFailing;
  const EstimateCase cases[] = {
      {"video only", Linear(described(kVideo, 10, {}), 1250000), "1000000"},
      {"beside audio", Linear(described(kBoth, 10, {audioRate}), 1250000), "872000"},
      {"beside audio of an unknown rate", Linear(described(kBoth, 10, {}), 1250000), "absent"},
      {"not above audio's", Linear(described(kBoth, 10, {audioRate}), 160000), "absent"},
      {"just above audio's", Linear(described(kBoth, 10, {audioRate}), 160002), "1"},
      {"truncated", Linear(described(kVideo, 7, {}), 1250000), "1428571"},
      {"no duration", Linear(described(kVideo, 0, {}), 1250000), "absent"},
      {"metadata's rate", Linear(described(kVideo, 10, {{"videodatarate", amf::Number(5)}}), 1250000), "5000"},
      {"no size", failedStat, "absent"},
      {"the last video time", {.bytes = untold.File()}, "94"},
      {"neither time", Linear(untold, 1250000), "absent"}};
  for (const EstimateCase& row : cases) {
    ScriptedHost host({.file = row.file});
    host.OpenAndReadFileHeader();
    ASSERT_GT(host.StreamCount(), 0u) << row.name;
    // The video header alone, asked for before audio's.
    EXPECT_EQ(kOk, host.GetStreamHeader(static_cast<std::uint16_t>(host.StreamCount() - 1))) << row.name;
    EXPECT_EQ(row.rate, host.StreamProperty(0, "AvgBitRate")) << row.name;
    const std::string rate = row.rate == std::string("absent") ? "0" : row.rate;
    EXPECT_TRUE(host.StreamProperty(0, "ASMRuleBook").starts_with("'AverageBandwidth=" + rate + ",")) << row.name;
  }
}

TEST(GetStreamHeader, CountsSuccessesWhateverTheNumber) {
  const FileScript small{.bytes = SmallFile().File()};
  const struct {
    const char* name;
    std::vector<std::uint16_t> asked;
    std::vector<bool> succeeds;
  } cases[] = {{"in order", {0, 1}, {true, true}},
               {"in reverse", {1, 0}, {true, true}},
               {"one of them twice", {1, 1}, {true, true}},
               {"unknown numbers in between", {2, 0, 0xFFFF, 1}, {false, true, false, true}}};
  for (const auto& row : cases) {
    ScriptedHost host({.file = small});
    ASSERT_TRUE(host.OpenAndReadFileHeader());
    for (std::size_t i = 0; i < row.asked.size(); ++i) {
      EXPECT_EQ(kOk, host.GetStreamHeader(row.asked[i])) << row.name;
      EXPECT_TRUE(host.log.All().back().starts_with(row.succeeds[i] ? "StreamHeaderReady 0x00000000 {"
                                                                    : "StreamHeaderReady 0x80040009 null"))
          << row.name << ": " << host.log.All().back();
    }
    EXPECT_EQ(kInvalidState, host.GetStreamHeader(0)) << row.name << ": packets can be had now";
  }
}

TEST(Headers, ThatTheHostCannotMake_FailWithTheFactorysStatus) {
  const struct {
    const char* name;
    GUID classId;
    int number;  // counted from after InitFileFormat
    const char* expected;
  } cases[] = {{"file header list", IQBPropertyList::kId, 1, "FileHeaderReady 0x80070057 null"},
               {"title", IQBBuffer::kId, 1, "FileHeaderReady 0x00000000 {StreamCount=2}"},
               {"stream header list", IQBPropertyList::kId, 2, "StreamHeaderReady 0x80070057 null"},
               {"MIME type", IQBBuffer::kId, 2, "StreamHeaderReady 0x80070057 null"},
               {"rule book", IQBBuffer::kId, 3, "StreamHeaderReady 0x80070057 null"}};
  for (const auto& row : cases) {
    ScriptedHost host({.file = {.bytes = SmallFile().File()}});
    ASSERT_TRUE(host.Open()) << row.name;
    host.factory->Refuse(row.classId, row.number, kInvalidArgument);
    host.GetFileHeader();
    host.GetStreamHeader(0);
    EXPECT_EQ(1u, host.log.Count(row.expected)) << row.name << ": " << host.log.All().back();
    // What failed can be asked for again.
    if (host.StreamCount() == 0) host.GetFileHeader();
    while (host.GetStreamHeader(0) == kOk) continue;
    EXPECT_EQ(kOk, host.GetPacket(0)) << row.name;
  }
}

}  // namespace
}  // namespace qbflv::test
