// Files of very many tags on a host that completes inside its calls: the stack must not grow with the tags.
#include <gtest/gtest.h>

#include "tests/support/scripted_host.h"
#include "tests/support/small_stack.h"

namespace qbflv::test {
namespace {

constexpr std::uint32_t kTags = 200000;
/// Enough for the other ways through the file: at 64 bytes for each tag they would need ten times the stack.
constexpr std::uint32_t kFewerTags = 20000;

void PlayIt(ScriptedHost& host) { host.Play(); }
void PlayItNested(ScriptedHost& host) { host.PlayNested(); }
void SeekPastTheEnd(ScriptedHost& host) {
  if (!host.ReadHeaders()) return;
  host.Seek(kTags);
  host.GetPacket(0);
}
/// Seeks again inside each SeekDone.
void SeekAgainAndAgain(ScriptedHost& host) {
  if (!host.ReadHeaders()) return;
  std::uint32_t seeks = 0;
  host.OnSinkCall([&](const host::SinkEvent& event) {
    if (event.kind == host::SinkEvent::Kind::kSeekDone && ++seeks < kFewerTags) host.Seek(0);
  });
  host.Seek(0);
}

TEST(ConstantStack, OnFilesOf200000Tags) {
  static_cast<void>(Exports());
  // Video of a codec whose picture size is not found keeps the scan going to the end of the file.
  FlvBuilder scanned(kBoth);
  // Everything is known at once, and the tail scan looks for the second-last audio tag through the whole file.
  FlvBuilder tail = FlvBuilder(kBoth).Metadata(QuickMetadata()).Audio(0, 2).Audio(1, 2);
  FlvBuilder sought = FlvBuilder(kBoth).Metadata(QuickMetadata()).Audio(0, 2).Video(0, 20);
  FlvBuilder passedOver =
      FlvBuilder(kAudio).Metadata(amf::MixedArray({{"audiodatarate", amf::Number(64)}})).Audio(0, 2);
  for (std::uint32_t i = 0; i < kTags; ++i) {
    i % 4 == 0 ? sought.Tag(kScriptTag, i, {5}) : sought.Audio(i, 2);
    i % 2 == 0 ? scanned.Tag(kVideoTag, i, {0x17, 1, 0, 0, 0, 1}) : scanned.Audio(i, 2);
  }
  for (std::uint32_t i = 0; i < kFewerTags; ++i) {
    tail.Tag(kVideoTag, i, {0x22, 1});
    i % 2 == 0 ? passedOver.Tag(kScriptTag, i, {5}) : passedOver.Tag(kAudioTag, i, {});
  }
  sought.Video(kTags - 1, 20);
  // The last packet of the first file waits for the other stream, and is dropped at the end.
  const struct {
    const char* name;
    FlvBuilder flv;
    void (*run)(ScriptedHost&);
    std::size_t packets;
    std::size_t done;
  } cases[] = {{"header scan and delivery", scanned, &PlayItNested, kTags - 1, 2},
               {"tail scan", tail, &PlayIt, kFewerTags + 2, 2},
               {"skipped and empty tags", passedOver, &PlayIt, 1, 1},
               {"seek", sought, &SeekPastTheEnd, 0, 2},
               {"seeks inside SeekDone", SmallFile(), &SeekAgainAndAgain, 0, 0}};
  for (const auto& row : cases) {
    std::size_t packets = 0;
    std::size_t done = 0;
    RunOnASmallStack([&] {
      ScriptedHost host({.file = {.bytes = row.flv.File()}});
      host.log.Disable();
      host.OnSinkCall([&](const host::SinkEvent& event) {
        packets += event.kind == host::SinkEvent::Kind::kPacketReady ? 1 : 0;
        done += event.kind == host::SinkEvent::Kind::kStreamDone ? 1 : 0;
      });
      row.run(host);
    });
    EXPECT_EQ(row.packets, packets) << row.name;
    EXPECT_EQ(row.done, done) << row.name;
  }
}

}  // namespace
}  // namespace qbflv::test
