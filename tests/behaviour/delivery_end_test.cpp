// The ends of delivery: the last packets known beforehand, the end of the file, and every failure on the way.
#include <gtest/gtest.h>

#include "tests/support/scripted_host.h"

namespace qbflv::test {
namespace {

using Lines = CallLog::Lines;

Lines Played(const HostScript& script) {
  ScriptedHost host(script);
  host.Play();
  return host.log.Delivered();
}

/// Audio and video 0, audio 20, video 40, audio 40, 60, 80: audio 60 and 80 wait for video behind them.
FlvBuilder UnevenEnd() {
  return FlvBuilder(kBoth)
      .Metadata(QuickMetadata())
      .Audio(0, 10)
      .Video(0, 20)
      .Audio(20, 11)
      .Video(40, 21)
      .Audio(40, 12)
      .Audio(60, 13)
      .Audio(80, 14);
}

Bytes Cut(Bytes bytes, std::size_t less) {
  bytes.resize(bytes.size() - less);
  return bytes;
}

struct EndCase {
  const char* name;
  FileScript file;
  Lines expected;
};

TEST(EndOfFile, EndsEveryStreamOnce) {
  const Lines known{"s0 t0", "s1 t0", "s0 t20", "s0 t40", "s1 t40", "s1 done", "s0 t60", "s0 t80", "s0 done"};
  const Lines waiting{"s0 t0", "s1 t0", "s0 t20", "s0 t40", "s1 t40", "s0 done", "s1 done"};
  const Bytes whole = UnevenEnd().File();
  const Rule truncated{"Stat", 0, kOk, static_cast<std::uint32_t>(whole.size()) + 100};
  const EndCase cases[] = {
      {"the last times are known", {.bytes = whole}, known},
      {"the last times are known, no field at the end", {.bytes = Cut(whole, 4), .failsAtEnd = true}, waiting},
      {"a size is known, the last times are not", {.bytes = whole, .accessHint = kPrefersLinearAccess}, waiting},
      {"no size, a few bytes at the end", {.bytes = whole, .stat = Stat::kAbsent}, waiting},
      {"no size, nothing at the end", {.bytes = Cut(whole, 4), .stat = Stat::kAbsent}, waiting},
      {"no size, a failure at the end", {.bytes = Cut(whole, 4), .stat = Stat::kAbsent, .failsAtEnd = true}, waiting},
      {"a short header inside the file",
       {.bytes = whole, .accessHint = kPrefersLinearAccess, .rules = {truncated}},
       waiting},
      {"a body that is cut",
       {.bytes = Cut(whole, 5), .stat = Stat::kAbsent},
       {"s0 t0", "s1 t0", "s0 t20", "s0 t40", "s1 t40", "s0 done", "s1 done"}},
  };
  for (const EndCase& row : cases) {
    for (const Answers answers : {Answers::kInline, Answers::kLater}) {
      HostScript script{.file = row.file};
      script.file.answers = answers;
      EXPECT_EQ(row.expected, Played(script)) << row.name;
    }
  }
}

TEST(EndOfFile, KnownBeforehand_EndsTheStreamsBeforeItIsRead) {
  ScriptedHost host({.file = {.bytes = UnevenEnd().File()}});
  host.Play();
  const Lines& all = host.log.All();
  ASSERT_GE(all.size(), 2u);
  EXPECT_EQ("StreamDone s=0", all[all.size() - 2]);
  EXPECT_EQ("Read(15)", all.back());
}

TEST(EndOfFile, BehindALimit_GivesOutWhatNeedNotWait) {
  // Video ended after one packet, by the limit: at the end of the file nothing of audio waits for it.
  const HostScript script{.file = {.bytes = UnevenEnd().File(), .stat = Stat::kAbsent},
                          .url = "http://h/?ProcessTimeUnits=1"};
  EXPECT_EQ((Lines{"s0 t0", "s0 done", "s1 t0", "s1 done"}), Played(script));
}

TEST(EndOfFile, WithOneStreamEndedBefore_EndsTheOther) {
  // The tail scan meets the last audio tag and then fails: only audio's end is known beforehand.
  FlvBuilder flv(kBoth);
  flv.Metadata(QuickMetadata()).Audio(0, 10).Video(0, 20).Audio(20, 11).Video(40, 21).Audio(40, 12);
  EXPECT_EQ((Lines{"s0 t0", "s1 t0", "s0 t20", "s0 t40", "s0 done", "s1 t40", "s1 done"}),
            Played({.file = {.bytes = flv.File(), .rules = {{"Read(15)", 5, kFailed}}}}));
}

TEST(EndOfFile, WithOnlyOneStreamAsking_AnswersItToo) {
  ScriptedHost host({.file = {.bytes = UnevenEnd().File(), .stat = Stat::kAbsent}});
  ASSERT_TRUE(host.ReadHeaders());
  // Video asks once and then no more; audio goes on until a video packet is at the head.
  host.GetPacket(1);
  for (int i = 0; i < 20 && host.GetPacket(0) == kOk; ++i) continue;
  EXPECT_EQ(0u, host.log.Count("StreamDone")) << "video's second packet waits to be asked for";
  for (int i = 0; i < 20; ++i) {
    host.GetPacket(1);
    host.GetPacket(0);
  }
  EXPECT_EQ(1u, host.log.Count("StreamDone s=0"));
  EXPECT_EQ(1u, host.log.Count("StreamDone s=1"));
  EXPECT_EQ(5u, host.log.Count("PacketReady"));
}

struct FailureCase {
  const char* name;
  /// Of the second pass: the scan has read the same tags before.
  Rule rule;
  Lines expected;
};

TEST(Failures, OnTheWay_EndEveryStreamAtOnce) {
  // The scan reads three tags; delivery reads them again and the others for the first time.
  const FlvBuilder flv = UnevenEnd().Tag(15, 90, Bytes(40)).Audio(100, 15).Video(120, 22);
  const std::uint32_t behindSkipped = flv.Field(9);
  const Lines none{"s0 done", "s1 done"};
  const Lines some{"s0 t0", "s1 t0", "s0 done", "s1 done"};
  const Lines most{"s0 t0", "s1 t0", "s0 t20", "s0 t40", "s1 t40", "s0 done", "s1 done"};
  const FailureCase cases[] = {
      {"the first header", {"Read(15)", 4, kFailed}, none},
      {"a short first header", {"Read(15)", 4, kOk, 14}, none},
      {"an empty first header", {"Read(15)", 4, kOk, 0}, none},
      {"the first skip", {"Seek(" + std::to_string(flv.Field(1)) + ")", 0, kFailed}, none},
      {"the first body", {"Read(10)", 2, kOutOfMemory}, none},
      {"a short body", {"Read(20)", 2, kOk, 19}, none},
      {"a later body", {"Read(21)", 0, kFailed}, some},
      {"a later short body", {"Read(21)", 0, kOk, 0}, some},
      {"a later skip", {"Seek(" + std::to_string(behindSkipped) + ")", 0, kFailed}, most},
      {"a later header", {"Read(15)", 12, kFailed}, most},
  };
  for (const FailureCase& row : cases) {
    for (const Answers answers : {Answers::kInline, Answers::kLater}) {
      ScriptedHost host(
          {.file = {.bytes = flv.File(), .answers = answers, .stat = Stat::kAbsent, .rules = {row.rule}}});
      host.Play();
      EXPECT_EQ(row.expected, host.log.Delivered()) << row.name;
      EXPECT_EQ("StreamDone s=1", host.log.All().back()) << row.name << ": nothing is read behind a failure";
      EXPECT_EQ(kInvalidState, host.GetPacket(0)) << row.name;
      EXPECT_EQ(kInvalidState, host.GetPacket(1)) << row.name;
    }
  }
}

TEST(Failures, ToMakeAPacket_EndEveryStreamAtOnce) {
  for (const int number : {1, 2, 4}) {
    ScriptedHost host({.file = {.bytes = UnevenEnd().File()}});
    ASSERT_TRUE(host.ReadHeaders());
    host.factory->Refuse(IQBPacket::kId, number, kOutOfMemory);
    host.RenewRequests();
    host.GetPacket(0);
    host.GetPacket(1);
    EXPECT_EQ(1u, host.log.Count("StreamDone s=0")) << number;
    EXPECT_EQ("StreamDone s=1", host.log.All().back()) << number;
    EXPECT_EQ(number == 4 ? 2u : 0u, host.log.Count("PacketReady")) << number;
  }
}

}  // namespace
}  // namespace qbflv::test
