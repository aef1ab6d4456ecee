// Stream headers: every property, the bit-rate estimate, the rule book, and which requests count.
#include <gtest/gtest.h>

#include "tests/support/scripted_host.h"

namespace qbflv::test {
namespace {

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
    const char* acceptMetaInfo;
    const char* audioEnd;
    const char* videoEnd;
  } cases[] = {{"title", "StreamNumber=0}", "StreamNumber=1 Width=320}"},
               {"*", "SrcBitRate=64000 SrcBitsPerSample=16 SrcNumChannels=1 SrcSamplesPerSecond=22050 StreamNumber=0}",
                "SrcBitRate=300000 SrcHeight=240 SrcWidth=320 StreamNumber=1 Width=320}"}};
  for (const auto& row : cases) {
    ScriptedHost host({.file = {.bytes = SmallFile().File()}, .headers = {{"AcceptMetaInfo", row.acceptMetaInfo}}});
    ASSERT_TRUE(host.ReadHeaders());
    EXPECT_EQ((CallLog::Lines{std::string(kAudioStart) + row.audioEnd, std::string(kVideoStart) + row.videoEnd}),
              host.log.Only({"StreamHeaderReady"}));
  }
}

TEST(StreamHeaders, OfAnUnknownVideo_TellWhatIsKnown) {
  ScriptedHost host({.file = {.bytes = FlvBuilder(kVideo).Tag(9, 0, VideoBody(20, 0x17)).File()},
                     .headers = {{"AcceptMetaInfo", "*"}}});
  ASSERT_TRUE(host.ReadHeaders());
  EXPECT_EQ(
      "StreamHeaderReady 0x00000000 {ASMRuleBook='AverageBandwidth=0,TimestampDelivery=T,QTVKeyFrameRule=T;"
      "AverageBandwidth=0,TimestampDelivery=T,OnDepend=0;'/108 Duration=10000 MimeType='video/x-qb-rtmp'/16 "
      "PayloadType=9 SamplesPerSecond=1000 StreamNumber=0}",
      host.log.All().back());
}

TEST(StreamHeaders, EstimateTheVideoRateFromTheSize) {
  const auto file = [](std::uint8_t flags, double duration, amf::Entries more) {
    more.emplace_back("duration", amf::Number(duration));
    more.emplace_back("framerate", amf::Number(25));
    return FlvBuilder(flags).Metadata(amf::MixedArray(more)).Audio(0, 20).Video(0, 20).File();
  };
  const std::pair<std::string_view, Bytes> audioRate{"audiodatarate", amf::Number(128)};
  // Without metadata nothing but the tail's last video time tells a duration.
  const Bytes untold = FlvBuilder(kVideo).Video(0, 20).Video(1000, 20).Video(10000, 20).File();
  const struct {
    const char* name;
    Bytes bytes;
    std::uint32_t size;
    const char* rate;
    Stat stat = Stat::kPresent;
    Status hint = kPrefersLinearAccess;
  } cases[] = {{"video only", file(kVideo, 10, {}), 1250000, "1000000"},
               {"beside audio", file(kBoth, 10, {audioRate}), 1250000, "872000"},
               {"beside audio of an unknown rate", file(kBoth, 10, {}), 1250000, "absent"},
               {"not above audio's", file(kBoth, 10, {audioRate}), 160000, "absent"},
               {"just above audio's", file(kBoth, 10, {audioRate}), 160002, "1"},
               {"truncated", file(kVideo, 7, {}), 1250000, "1428571"},
               {"no duration", file(kVideo, 0, {}), 1250000, "absent"},
               {"metadata's rate", file(kVideo, 10, {{"videodatarate", amf::Number(5)}}), 1250000, "5000"},
               {"no size", file(kVideo, 10, {}), 1250000, "absent", Stat::kFailing},
               {"the last video time", untold, 118, "94", Stat::kPresent, kOk},
               {"neither time", untold, 1250000, "absent"}};
  for (const auto& row : cases) {
    ScriptedHost host({.file = {.bytes = row.bytes,
                                .stat = row.stat,
                                .accessHint = row.hint,
                                .rules = {{.operation = "Stat", .size = row.size}}}});
    host.OpenAndReadFileHeader();
    ASSERT_GT(host.StreamCount(), 0U) << row.name;
    // The video header alone, asked for before audio's.
    EXPECT_EQ(kOk, host.GetStreamHeader(static_cast<std::uint16_t>(host.StreamCount() - 1))) << row.name;
    EXPECT_EQ(row.rate, host.StreamProperty(0, "AvgBitRate")) << row.name;
    const std::string rate = row.rate == std::string("absent") ? "0" : row.rate;
    EXPECT_TRUE(host.StreamProperty(0, "ASMRuleBook").starts_with("'AverageBandwidth=" + rate + ",")) << row.name;
  }
}

TEST(StreamHeaders, WithABufferWithoutBytes_HaveAnEmptyRuleBook) {
  ScriptedHost host({.file = {.bytes = SmallFile().File()}});
  ASSERT_TRUE(host.OpenAndReadFileHeader());
  // Only the rule book is written into the buffer's bytes.
  host.faults.Arm({.asked = {Asked::kBufferBytes}, .how = Failing::kNull, .nth = 1});
  EXPECT_EQ(kOk, host.GetStreamHeader(0));
  EXPECT_EQ("''/1", host.StreamProperty(0, "ASMRuleBook"));
}

TEST(GetStreamHeader, CountsSuccessesWhateverTheNumber) {
  const struct {
    std::vector<std::uint16_t> asked;
    std::vector<bool> succeeds;
  } cases[] = {{{0, 1}, {true, true}},
               {{1, 0}, {true, true}},
               {{1, 1}, {true, true}},
               {{2, 0, 0xFFFF, 1}, {false, true, false, true}}};
  for (const auto& row : cases) {
    SCOPED_TRACE(testing::PrintToString(row.asked));
    ScriptedHost host({.file = {.bytes = SmallFile().File()}});
    ASSERT_TRUE(host.OpenAndReadFileHeader());
    for (std::size_t i = 0; i < row.asked.size(); ++i) {
      EXPECT_EQ(kOk, host.GetStreamHeader(row.asked[i]));
      EXPECT_TRUE(host.log.All().back().starts_with(row.succeeds[i] ? "StreamHeaderReady 0x00000000 {"
                                                                    : "StreamHeaderReady 0x80040009 null"))
          << host.log.All().back();
    }
    EXPECT_EQ(kInvalidState, host.GetStreamHeader(0)) << "packets can be had now";
  }
}

TEST(GetPacket, BeforeTheLastStreamHeader_IsServedAfterIt) {
  ScriptedHost host({.file = {.bytes = SmallFile().File()}});
  ASSERT_TRUE(host.OpenAndReadFileHeader());
  EXPECT_EQ(kOk, host.GetPacket(0));
  host.GetStreamHeader(0);
  const std::size_t before = host.log.Size();
  host.GetStreamHeader(1);
  const CallLog::Lines served = host.log.From(before);
  ASSERT_LE(2U, served.size());
  EXPECT_TRUE(served[0].starts_with("StreamHeaderReady")) << served[0];
  EXPECT_EQ("Read(15)", served[1]);
}

}  // namespace
}  // namespace qbflv::test
