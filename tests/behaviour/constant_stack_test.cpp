// Files of very many tags on a host that answers inside its calls: the stack must not grow with the tags.
#include <gtest/gtest.h>
#include <pthread.h>

#include "tests/support/scripted_host.h"

namespace qbflv::test {
namespace {

constexpr std::uint32_t kTags = 200000;
/// Enough for the other roads: at 64 bytes for each tag they would need ten times the stack.
constexpr std::uint32_t kFewerTags = 20000;
constexpr std::size_t kStackBytes = 128 * 1024;

enum class Road {
  kPlain,
  kNested,  ///< each request is made inside the sink call that allows it
  kSeek,    ///< to the end of the file, over all tags
};

struct LongCase {
  const char* name;
  FlvBuilder flv;
  Road road;
  std::size_t packets;
  std::size_t done;
};

/// What a run in a thread tells.
struct LongRun {
  const FlvBuilder* flv;
  Road road;
  std::size_t packets = 0;
  std::size_t done = 0;
};

void* Play(void* data) {
  LongRun& run = *static_cast<LongRun*>(data);
  ScriptedHost host({.file = {.bytes = run.flv->File()}});
  host.log.Disable();
  host.OnSinkCall([&run](const host::SinkEvent& event) {
    if (event.kind == host::SinkEvent::Kind::kPacketReady) ++run.packets;
    if (event.kind == host::SinkEvent::Kind::kStreamDone) ++run.done;
  });
  if (run.road == Road::kPlain) host.Play();
  if (run.road == Road::kNested) host.PlayNested();
  if (run.road == Road::kSeek && host.ReadHeaders()) {
    host.Seek(kTags);
    host.GetPacket(0);
  }
  return nullptr;
}

TEST(ConstantStack, OnFilesOf200000Tags) {
  static_cast<void>(Library());
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
  const LongCase cases[] = {{"header scan and delivery", scanned, Road::kNested, kTags - 1, 2},
                            {"tail scan", tail, Road::kPlain, kFewerTags + 2, 2},
                            {"skipped and empty tags", passedOver, Road::kPlain, 1, 1},
                            {"seek", sought, Road::kSeek, 0, 2}};
  for (const LongCase& row : cases) {
    LongRun run{&row.flv, row.road};
    pthread_attr_t attributes;
    ASSERT_EQ(0, pthread_attr_init(&attributes));
    ASSERT_EQ(0, pthread_attr_setstacksize(&attributes, kStackBytes));
    pthread_t thread{};
    ASSERT_EQ(0, pthread_create(&thread, &attributes, &Play, &run));
    ASSERT_EQ(0, pthread_join(thread, nullptr));
    pthread_attr_destroy(&attributes);
    EXPECT_EQ(row.packets, run.packets) << row.name;
    EXPECT_EQ(row.done, run.done) << row.name;
  }
}

}  // namespace
}  // namespace qbflv::test
