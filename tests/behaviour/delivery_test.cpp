// Delivery: what is read, in which order packets come out, who may have them, and how it ends.
#include <gtest/gtest.h>

#include <algorithm>

#include "tests/support/scripted_host.h"

namespace qbflv::test {
namespace {

using Lines = CallLog::Lines;

/// Opens the file, reads the headers and forgets the log.
struct Delivery {
  explicit Delivery(FileScript file) : host({.file = std::move(file)}) {
    EXPECT_TRUE(host.ReadHeaders());
    host.log.Clear();
  }

  ScriptedHost host;
};

TEST(Delivery, OfTheSmallFile_IsThisWholeLog) {
  const FlvBuilder flv = SmallFile();
  Delivery delivery({.bytes = flv.File()});
  delivery.host.AskForAll();
  EXPECT_EQ((Lines{"Read(15)",
                   "Seek(" + std::to_string(flv.Field(1)) + ")",  // the metadata is passed over
                   "Read(15)",
                   "Read(10)",
                   "Read(15)",
                   "Read(20)",                                    // audio 0 waits for video 0
                   "PacketReady s=0 t=0 size=10 flags=3 rule=0",  // ties go to the lower stream
                   "Read(15)",
                   "Read(11)",                                    // audio 23
                   "PacketReady s=1 t=0 size=20 flags=3 rule=0",  //
                   "Read(15)",
                   "Read(21)",                                     // video 40, the last one
                   "PacketReady s=0 t=23 size=11 flags=3 rule=0",  //
                   "Read(15)",
                   "Read(12)",                                     // audio 46, the last one
                   "PacketReady s=1 t=40 size=21 flags=2 rule=1",  //
                   "StreamDone s=1",                               //
                   "PacketReady s=0 t=46 size=12 flags=3 rule=0",  //
                   "StreamDone s=0",
                   "Read(15)"}),  // no stream waits; the read finds the end
            delivery.host.log.All());
  EXPECT_EQ(kInvalidState, delivery.host.GetPacket(0));
  EXPECT_EQ(kInvalidState, delivery.host.GetPacket(1));
}

TEST(Delivery, HandsOverTheBuffersThatWereRead) {
  ScriptedHost host({.file = {.bytes = SmallFile().File()}});
  host.file->KeepBuffers();
  std::ptrdiff_t delivered = 0;
  host.OnSinkCall([&](const host::SinkEvent& event) {
    if (!event.packet) return;
    const auto body = ComPtr<IQBBuffer>::Adopt(event.packet->GetPacketBuffer());
    delivered += std::ranges::count(host.file->Buffers(), body.Get(), &ComPtr<IQBBuffer>::Get);
  });
  host.Play();
  EXPECT_EQ(5, delivered);
}

TEST(Delivery, ToAHostThatKeepsOneReference_IsComplete) {
  ScriptedHost host({.file = {.bytes = SmallFile().File()}});
  ASSERT_TRUE(host.ReadHeaders());
  host.plugin = nullptr;  // host.format stays
  host.AskForAll();
  EXPECT_EQ(5U, host.log.Count("PacketReady"));
  EXPECT_EQ(2U, host.log.Count("StreamDone"));
}

/// Audio goes on while video has nothing queued once a limit is passed.
TEST(Delivery, WaitsForTheOtherStreamUpToItsLimits) {
  const struct {
    const char* name;
    std::uint32_t step;
    /// Audio tags read when the first of those behind the video tag comes out.
    std::size_t tags;
  } cases[] = {{"more than 1000 packets", 1, 1001}, {"more than 10000 ms", 100, 102}, {"by far", 20000, 2}};
  for (const auto& row : cases) {
    FlvBuilder flv = FlvBuilder(kBoth).Metadata(QuickMetadata()).Video(0, 20);
    for (std::uint32_t i = 1; i <= 1100; ++i) flv.Audio(i * row.step, 10);
    Delivery delivery({.bytes = flv.File(), .stat = Stat::kAbsent});
    std::size_t tags = 0;
    delivery.host.OnSinkCall([&](const host::SinkEvent& event) {
      if (event.packet && event.stream == 0 && tags == 0) tags = delivery.host.log.Count("Read(10)");
    });
    delivery.host.AskForAll();
    EXPECT_EQ(row.tags, tags) << row.name;
  }
}

/// Audio and video 0, audio 20, video 40, audio 40, 60, 80: audio 60 and 80 wait for video behind them.
FlvBuilder UnevenEnd() {
  FlvBuilder flv = FlvBuilder(kBoth).Metadata(QuickMetadata());
  return flv.Audio(0, 10).Video(0, 20).Audio(20, 11).Video(40, 21).Audio(40, 12).Audio(60, 13).Audio(80, 14);
}

TEST(EndOfDelivery, ByAFailure_EndsEveryStreamAtOnce) {
  // The scan reads three tags; delivery reads them again and the others for the first time.
  const FlvBuilder flv = UnevenEnd().Tag(15, 90, Bytes(40)).Audio(100, 15).Video(120, 22);
  const std::string laterSkip = "Seek(" + std::to_string(flv.Field(9)) + ")";
  const Lines none{"s0 done", "s1 done"};
  const Lines some{"s0 t0", "s1 t0", "s0 done", "s1 done"};
  const Lines most{"s0 t0", "s1 t0", "s0 t20", "s0 t40", "s1 t40", "s0 done", "s1 done"};
  const struct {
    const char* name;
    Rule rule;
    Lines expected;
  } cases[] = {{"a short first header", {"Read(15)", 4, kOk, 14}, none},
               {"an empty first header", {"Read(15)", 4, kOk, 0}, none},
               {"the first skip", {"Seek(" + std::to_string(flv.Field(1)) + ")", 0, kFailed}, none},
               {"the first body", {"Read(10)", 2, kOutOfMemory}, none},
               {"a short body", {"Read(20)", 2, kOk, 19}, none},
               {"a later body", {"Read(21)", 0, kFailed}, some},
               {"a later skip", {laterSkip, 0, kFailed}, most},
               {"a later header", {"Read(15)", 12, kFailed}, most}};
  for (const auto& row : cases) {
    for (const Completes completes : {Completes::kInline, Completes::kLater}) {
      ScriptedHost host(
          {.file = {.bytes = flv.File(), .completes = completes, .stat = Stat::kAbsent, .rules = {row.rule}}});
      host.Play();
      EXPECT_EQ(row.expected, host.log.Delivered()) << row.name;
      EXPECT_EQ("StreamDone s=1", host.log.All().back()) << row.name << ": nothing is read after a failure";
      EXPECT_EQ(kInvalidState, host.GetPacket(0)) << row.name;
    }
  }
}

}  // namespace
}  // namespace qbflv::test
