// Delivery: what is read, in which order packets come out, who may have them, and what they carry.
#include <gtest/gtest.h>

#include "tests/support/scripted_host.h"

namespace qbflv::test {
namespace {

using Lines = CallLog::Lines;

/// Both streams, described by a metadata tag and with the tags of the first instant.
FlvBuilder Start() { return FlvBuilder(kBoth).Metadata(QuickMetadata()); }

/// Delivery alone: what was logged since the headers.
struct Delivery {
  explicit Delivery(FileScript file) : host({.file = std::move(file)}) {
    EXPECT_TRUE(host.ReadHeaders());
    host.log.Clear();
  }

  /// Requests on every stream, renewed.
  void PlayAll() {
    host.RenewRequests();
    for (std::uint16_t stream = 0; stream < host.StreamCount(); ++stream) host.GetPacket(stream);
  }

  ScriptedHost host;
};

TEST(Delivery, OfTheSmallFile_IsThisWholeLog) {
  const FlvBuilder flv = SmallFile();
  Delivery delivery({.bytes = flv.File()});
  delivery.PlayAll();
  const std::string skip = "Seek(" + std::to_string(flv.Field(1)) + ")";
  EXPECT_EQ((Lines{"Read(15)",
                   skip,  // the metadata is passed over
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
                   "Read(15)"}),  // nobody waits; the read finds the end
            delivery.host.log.All());
  EXPECT_EQ(kInvalidState, delivery.host.GetPacket(0));
  EXPECT_EQ(kInvalidState, delivery.host.GetPacket(1));
}

TEST(GetPacket, OncePerStreamUntilItIsAnswered) {
  Delivery delivery({.bytes = SmallFile().File(), .answers = Answers::kLater});
  delivery.host.AnswerByHand();
  EXPECT_EQ(kOk, delivery.host.GetPacket(0));
  EXPECT_EQ(kInvalidState, delivery.host.GetPacket(0));
  EXPECT_EQ(kOk, delivery.host.GetPacket(1));
  EXPECT_EQ(kInvalidState, delivery.host.GetPacket(1));
  EXPECT_EQ(kInvalidState, delivery.host.GetPacket(2));
  EXPECT_EQ(kInvalidState, delivery.host.GetPacket(0xFFFF));
  EXPECT_EQ(Lines{"Read(15)"}, delivery.host.log.All());
  delivery.host.Pump();
  EXPECT_EQ((Lines{"s0 t0"}), delivery.host.log.Delivered());
  EXPECT_EQ(kOk, delivery.host.GetPacket(0));
}

TEST(GetPacket, BeforeTheLastStreamHeader_IsServedByALaterOne) {
  ScriptedHost host({.file = {.bytes = SmallFile().File()}});
  ASSERT_TRUE(host.OpenAndReadFileHeader());
  EXPECT_EQ(kOk, host.GetPacket(0));
  const std::size_t before = host.log.Size();
  host.GetStreamHeader(0);
  host.GetStreamHeader(1);
  EXPECT_EQ(before + 2, host.log.Size()) << "nothing starts by itself";
  EXPECT_EQ(kOk, host.GetPacket(1));
  EXPECT_EQ(1u, host.log.Count("PacketReady s=0 t=0 "));
}

struct AskingCase {
  const char* name;
  std::vector<std::uint16_t> asked;
  Lines expected;
};

TEST(Delivery, GivesAPacketOnlyToAStreamThatAsked) {
  // Tags: audio 0, video 0, audio 23, video 40, audio 46.
  const AskingCase cases[] = {
      {"audio once", {0}, {}},
      {"a queued video packet holds audio back", {0, 0}, {}},
      {"video alone reads on for audio", {1}, {}},
      {"both once", {0, 1}, {"s0 t0"}},
      {"audio again", {0, 1, 0}, {"s0 t0", "s1 t0"}},
      {"audio's open request waits until video asks", {0, 1, 0, 0, 0}, {"s0 t0", "s1 t0"}},
      {"then video asks",
       {0, 1, 0, 0, 0, 1, 0},
       {"s0 t0", "s1 t0", "s0 t23", "s1 t40", "s1 done", "s0 t46", "s0 done"}},
  };
  for (const AskingCase& row : cases) {
    for (const Answers answers : {Answers::kInline, Answers::kLater}) {
      Delivery delivery({.bytes = SmallFile().File(), .answers = answers});
      for (const std::uint16_t stream : row.asked) delivery.host.GetPacket(stream);
      EXPECT_EQ(row.expected, delivery.host.log.Delivered()) << row.name;
    }
  }
}

TEST(Delivery, ReadsOnlyWhenEveryLiveStreamWaits) {
  Delivery delivery({.bytes = SmallFile().File()});
  delivery.host.GetPacket(0);
  EXPECT_EQ("Read(10)", delivery.host.log.All().back()) << "one tag for the one request";
  EXPECT_EQ(2u, delivery.host.log.Count("Read(15)"));
  delivery.host.GetPacket(1);
  EXPECT_EQ("PacketReady s=0 t=0 size=10 flags=3 rule=0", delivery.host.log.All().back());
  const std::size_t before = delivery.host.log.Size();
  EXPECT_EQ(kOk, delivery.host.GetPacket(0));
  EXPECT_EQ((Lines{"Read(15)", "Read(11)", "PacketReady s=1 t=0 size=20 flags=3 rule=0"}),
            delivery.host.log.From(before));
}

TEST(Packets, CarryTheirTagsBodiesUntouchedAndUncopied) {
  ScriptedHost host({.file = {.bytes = SmallFile().File()}});
  ASSERT_TRUE(host.ReadHeaders());
  host.file->KeepBuffers();
  std::vector<ComPtr<IQBBuffer>> delivered;
  host.OnSinkCall([&](const host::SinkEvent& event) {
    if (event.packet) delivered.push_back(ComPtr<IQBBuffer>::Adopt(event.packet->GetPacketBuffer()));
  });
  host.Play();
  host.RenewRequests();
  host.GetPacket(0);
  host.GetPacket(1);
  ASSERT_EQ(5u, delivered.size());
  for (const ComPtr<IQBBuffer>& buffer : delivered) {
    const auto& read = host.file->Buffers();
    EXPECT_TRUE(std::any_of(read.begin(), read.end(), [&](const auto& one) { return one.Get() == buffer.Get(); }));
  }
}

struct TagCase {
  const char* name;
  std::uint8_t flags;
  std::uint8_t type;
  std::uint32_t time;
  Bytes body;
  /// The packet, or what is read instead of one.
  const char* expected;
};

TEST(Packets, AreMadeOfTheTagsThatTheirStreamsAnnounce) {
  const auto body = [](std::uint8_t first) { return VideoBody(33, first); };
  const TagCase cases[] = {
      {"key frame", kVideo, 9, 7, body(0x12), "PacketReady s=0 t=7 size=33 flags=3 rule=0"},
      {"other frame", kVideo, 9, 7, body(0x22), "PacketReady s=0 t=7 size=33 flags=2 rule=1"},
      {"disposable frame", kVideo, 9, 7, body(0x32), "PacketReady s=0 t=7 size=33 flags=2 rule=1"},
      {"generated key frame", kVideo, 9, 7, body(0x42), "PacketReady s=0 t=7 size=33 flags=2 rule=1"},
      {"one byte of video", kVideo, 9, 7, {0x17}, "PacketReady s=0 t=7 size=1 flags=3 rule=0"},
      {"audio", kAudio, 8, 7, body(0x00), "PacketReady s=0 t=7 size=33 flags=3 rule=0"},
      {"one byte of audio", kAudio, 8, 7, {0xAF}, "PacketReady s=0 t=7 size=1 flags=3 rule=0"},
      {"a time of 25 bits", kAudio, 8, 0x01000010, body(0), "PacketReady s=0 t=16777232 size=33 flags=3 rule=0"},
      {"a time of 32 bits", kAudio, 8, 0xFFFFFFFF, body(0), "PacketReady s=0 t=4294967295 size=33 flags=3 rule=0"},
      {"audio that was not announced", kVideo, 8, 7, body(0), "Read(33)"},
      {"video that was not announced", kAudio, 9, 7, body(0x12), "Read(33)"},
      {"script data", kAudio, 18, 7, body(0), "Seek"},
      {"another type", kAudio, 15, 7, body(0), "Seek"},
      {"type 8 with a bit around it", kAudio, 0x28, 7, body(0), "Seek"},
      {"type 9 with a bit around it", kVideo, 0x49, 7, body(0x12), "Seek"},
      {"an empty tag", kAudio, 8, 7, {}, "Read(15)"},
      {"an empty script tag", kAudio, 18, 7, {}, "Seek"}};
  for (const TagCase& row : cases) {
    // Described without metadata, so that the tag in question is the first one behind those of the scan.
    FlvBuilder flv(row.flags);
    if (row.flags == kAudio)
      flv.Audio(0, 20).Audio(5001, 20);
    else
      flv.Video(0, 20).Video(1000, 20);
    const std::size_t tag = flv.Tags();
    flv.Tag(row.type, row.time, row.body);
    Delivery delivery({.bytes = flv.File(), .stat = Stat::kAbsent});
    delivery.host.GetPacket(0);
    delivery.host.GetPacket(0);
    delivery.host.log.Clear();
    delivery.host.GetPacket(0);
    const std::string expected = row.expected;
    if (expected.starts_with("PacketReady")) {
      EXPECT_EQ((Lines{"Read(15)", "Read(" + std::to_string(row.body.size()) + ")", expected}), delivery.host.log.All())
          << row.name;
      continue;
    }
    // Nothing came of it; the next read finds the end.
    Lines lines{"Read(15)"};
    if (expected == "Seek") lines.push_back("Seek(" + std::to_string(flv.Field(tag + 1)) + ")");
    if (expected == "Read(33)") lines.push_back(expected);
    lines.insert(lines.end(), {"Read(15)", "StreamDone s=0"});
    EXPECT_EQ(lines, delivery.host.log.All()) << row.name;
  }
}

TEST(Packets, WithAnRtpTime_AreHandedOutTheSameWay) {
  const FileScript file{.bytes = SmallFile().File()};
  Delivery plain(file);
  plain.PlayAll();
  Delivery rtp(file);
  rtp.host.factory->MakeRtpPackets();
  rtp.PlayAll();
  EXPECT_EQ(plain.host.log.All(), rtp.host.log.All());
}

TEST(Delivery, ComparesTimesAcrossTheirWrap) {
  FlvBuilder flv = Start();
  flv.Audio(4294967290, 10).Video(4294967291, 20).Video(5, 21).Audio(3, 11).Audio(26, 12).Video(45, 22);
  Delivery delivery({.bytes = flv.File(), .stat = Stat::kAbsent});
  delivery.PlayAll();
  EXPECT_EQ((Lines{"s0 t4294967290", "s1 t4294967291", "s0 t3", "s1 t5", "s0 t26", "s0 done", "s1 done"}),
            delivery.host.log.Delivered());
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
    FlvBuilder flv = Start().Video(0, 20);
    for (std::uint32_t i = 1; i <= 1100; ++i) flv.Audio(i * row.step, 10);
    Delivery delivery({.bytes = flv.File(), .stat = Stat::kAbsent});
    std::size_t tags = 0;
    delivery.host.OnSinkCall([&](const host::SinkEvent& event) {
      if (event.packet && event.stream == 0 && tags == 0) tags = delivery.host.log.Count("Read(10)");
    });
    delivery.PlayAll();
    EXPECT_EQ(row.tags, tags) << row.name;
  }
}

/// ProcessTimeUnits ends each stream after so many packets, those of an ended stream are dropped.
TEST(ProcessTimeUnits, EndsEachStreamBehindItsLastPacket) {
  FlvBuilder flv = Start();
  for (std::uint32_t i = 0; i < 6; ++i) flv.Audio(i * 20, 10).Video(i * 40, 20);
  const struct {
    const char* url;
    Lines expected;
  } cases[] = {{"http://h/?ProcessTimeUnits=1", {"s0 t0", "s0 done", "s1 t0", "s1 done"}},
               {"http://h/?ProcessTimeUnits=3",
                {"s0 t0", "s1 t0", "s0 t20", "s0 t40", "s0 done", "s1 t40", "s1 t80", "s1 done"}}};
  for (const auto& row : cases) {
    ScriptedHost host({.file = {.bytes = flv.File(), .stat = Stat::kAbsent}, .url = row.url});
    host.Play();
    EXPECT_EQ(row.expected, host.log.Delivered()) << row.url;
  }
}

}  // namespace
}  // namespace qbflv::test
