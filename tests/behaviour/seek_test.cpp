// Where a seek goes: the jump by the index, the scan over the tags, and the tag at which delivery restarts. The random
// sessions compare this with a model; here is what they leave out.
#include <gtest/gtest.h>

#include "tests/support/seek_script.h"

namespace qbflv::test {
namespace {

/// A script-data tag that brings the next tag to that offset.
FlvBuilder& FillTo(FlvBuilder& flv, std::uint32_t offset) {
  return flv.Tag(kScriptTag, 0, Bytes(offset - flv.Size() - 11, 5));
}

TEST(Seek, ScansFromTheLatestKnownPosition_AndRestartsAtTheEarliestKeyPosition) {
  const struct {
    const char* name;
    FlvBuilder flv;
    std::uint32_t time;
    const char* walk;
    /// What each stream gets first after it, in the order of the streams.
    const char* first;
  } cases[] = {
      {"past the last tag", TagsOf(kVideo, "k0 p100"), 0xFFFFFFFF, "@0 r @1 r @2 r @3 r ok", "done"},
      {"script data and unknown types are passed over, whatever their times",
       TagsOf(kVideo, "k0 s900 x900 p100 s0 x50 p200"), 150, "@0 r @1 r @2 r @3 r @4 r @5 r @6 r @7 r @1 ok", "t0"},
      {"audio that the header denies is no position", TagsOf(kVideo, "k0 a50 a100 p200"), 150,
       "@0 r @1 r @2 r @3 r @4 r @1 ok", "t0"},
      {"but ends the scan", TagsOf(kVideo, "k0 k100 a200 k200"), 150, "@0 r @1 r @2 r @3 r @2 ok", "t100"},
      {"video that the header denies ends it too", TagsOf(kAudio, "a0 k50 a100 k200 a300"), 150,
       "@0 r @1 r @2 r @3 r @4 r @3 ok", "t100"},
      {"a tag before the first one's time is past every time", TagsOf(kVideo, "k5000 k5100 k4900 k5200"), 150,
       "@0 r @1 r @2 r @3 r @2 ok", "t5100"}};
  for (const auto& row : cases) {
    SCOPED_TRACE(row.name);
    ScriptedHost host({.file = {.bytes = row.flv.File()}});
    ASSERT_TRUE(host.ReadHeaders());
    host.log.Clear();
    EXPECT_EQ(kOk, host.Seek(row.time));
    const SeekOutcome outcome = FinishSeek(host, row.flv);
    EXPECT_EQ(row.walk, outcome.walk);
    EXPECT_EQ(row.first, outcome.first);
  }
}

TEST(Seek, ByTheIndex_GoesToOffsetsOfMoreThan16Bits) {
  FlvBuilder flv = TagsOf(kBoth, "a0 k0");
  FillTo(flv, 80000).Video(4000, 20);
  FillTo(flv, 90000).Audio(5000, 20).Audio(6000, 20).Video(6000, 20);
  ScriptedHost host({.file = {.bytes = flv.File()}});
  ASSERT_TRUE(host.ReadHeaders());
  host.Seek(5500);
  host.log.Clear();
  EXPECT_EQ(kOk, host.Seek(5500));
  EXPECT_EQ("@6 r @7 r @4 ok", FinishSeek(host, flv).walk);
}

}  // namespace
}  // namespace qbflv::test
