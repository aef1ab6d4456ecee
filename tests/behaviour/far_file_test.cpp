// Files of 4 GiB and more: where 32-bit offsets would wrap, a scan and delivery end as at the end of the file.
#include <gtest/gtest.h>

#include <algorithm>
#include <functional>
#include <string>

#include "tests/support/scripted_host.h"

namespace qbflv::test {
namespace {

constexpr std::uint64_t kTooFar = 0x100000000;
constexpr std::uint32_t kLargestBody = 0xFFFFFF;
constexpr std::uint8_t kUnknownTag = 0x55;

/// Where the last tag stands, counted from 4 GiB; its time; the type of the tags behind the head; and whether the file
/// goes on beyond 4 GiB.
struct FarCase {
  int lastTag;
  std::uint32_t lastTime = 0;
  std::uint8_t type = kVideoTag;
  bool isEndless = true;

  std::uint64_t LastTag() const { return kTooFar + static_cast<std::uint64_t>(std::int64_t{lastTag}); }
};

FlvBuilder Head() { return FlvBuilder(kVideo).Metadata(QuickMetadata()).Video(0, 20); }

/// The field before the tag at that offset, the tag's header and the first byte of its body.
Bytes TagAt(const FarCase& c, std::uint64_t offset) {
  const bool isLast = offset >= c.LastTag();
  const std::uint64_t room = (isLast ? 2 * kTooFar : c.LastTag()) - offset - 15;
  // The tag before the last one leaves room for a header: two tags share what is left.
  std::uint64_t size = std::min<std::uint64_t>(room, kLargestBody);
  if (room > kLargestBody && room - kLargestBody < 15) size -= 15;
  const auto claimedSize = static_cast<std::uint32_t>(size);
  const Bytes whole = FlvBuilder(kVideo).Tag(c.type, isLast ? c.lastTime : 0, {0x22}, claimedSize).File();
  return {whole.begin() + 9, whole.begin() + 9 + 16};
}

/// After the head come tags as large as they can be, up to one that leads to the last tag; the tags after that are as
/// large as can be again.
FileScript FarFile(const FarCase& c) {
  FileScript file{.stat = Stat::kAbsent};
  file.produce = [c, head = Head()](std::uint64_t offset, std::uint32_t count) {
    const std::uint64_t end = c.isEndless ? 2 * kTooFar : kTooFar;
    const bool isHead = offset < head.Field(2);
    Bytes bytes = isHead ? head.File() : TagAt(c, offset);
    if (isHead) bytes.erase(bytes.begin(), bytes.begin() + static_cast<std::ptrdiff_t>(offset));
    bytes.resize(std::min<std::uint64_t>(count, end - std::min(end, offset)));
    return bytes;
  };
  // Ends a scan that would wrap for ever.
  file.decide = [seeks = 0](Asked asked, std::uint32_t) mutable {
    return Rule{.status = asked == Asked::kSeek && ++seeks > 1000 ? kFailed : kOk};
  };
  return file;
}

/// Seeks to 1000 ms, or plays the tags that can only be skipped. Returns the offsets that the file was sought to.
std::vector<std::uint32_t> SeeksOf(const FarCase& c) {
  SCOPED_TRACE(std::to_string(c.lastTag) + (c.isEndless ? ", endless" : ", ends at 4 GiB"));
  ScriptedHost host({.file = FarFile(c)});
  EXPECT_TRUE(host.ReadHeaders());
  host.log.Clear();
  const bool plays = c.type == kUnknownTag;
  if (plays) {
    host.AskForAll();
  } else {
    EXPECT_EQ(kOk, host.Seek(1000));
  }
  EXPECT_EQ(plays ? "StreamDone s=0" : "SeekDone 0x00000000", host.log.All().back());
  EXPECT_EQ(plays ? 1U : 0U, host.log.Count("PacketReady"));
  std::vector<std::uint32_t> seeks;
  for (const std::string& line : host.log.Only({"Seek("})) {
    seeks.push_back(static_cast<std::uint32_t>(std::stoul(line.substr(5))));
  }
  if (!c.isEndless) {
    host.GetPacket(0);
    EXPECT_EQ("StreamDone s=0", host.log.All().back());
  }
  return seeks;
}

TEST(FarFile, WhereOffsetsWouldWrap_EndsLikeAnyFile) {
  for (const int distance : {-40000000, -32, -17, -16, -15, -4, -1, 0, 1, 9, 16, 40000}) {
    for (const FarCase& c : {FarCase{distance}, FarCase{.lastTag = distance, .isEndless = false},
                             FarCase{.lastTag = distance, .type = kUnknownTag}}) {
      const std::vector<std::uint32_t> seeks = SeeksOf(c);
      EXPECT_TRUE(seeks.size() > 250 && seeks.size() < 270) << seeks.size() << ": the whole file is gone through";
      EXPECT_TRUE(std::ranges::is_sorted(seeks, std::less_equal<>())) << "never back, never in place";
    }
  }
}

TEST(FarFile, WhoseLastTagIsWithinReach_IsSoughtToIt) {
  for (const int distance : {-17, -18, -4000}) {
    const FarCase c{.lastTag = distance, .lastTime = 1000};
    const std::vector<std::uint32_t> seeks = SeeksOf(c);
    EXPECT_EQ(Head().Field(1), seeks.back()) << "the only key frame";
    EXPECT_EQ(c.LastTag(), seeks.end()[-2]);
  }
}

}  // namespace
}  // namespace qbflv::test
