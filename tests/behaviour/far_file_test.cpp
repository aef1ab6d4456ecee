// Files of 4 GiB and more: where offsets would come round, a scan and delivery end as at the end of the file.
#include <gtest/gtest.h>

#include <algorithm>
#include <cstring>

#include "host/buffer.h"
#include "tests/support/scripted_host.h"

namespace qbflv::test {
namespace {

constexpr std::uint64_t kTooFar = 0x100000000;
constexpr std::uint32_t kLargestBody = 0xFFFFFF;

FlvBuilder Head() { return FlvBuilder(kVideo).Metadata(QuickMetadata()).Video(0, 20); }

/// Answers inside the calls. Behind the head stand video tags as large as they can be, up to one that leads to the
/// last tag; every tag behind it is as large as can be again, unless the file ends at 4 GiB.
class FarFile final : public host::ComObject<IQBSourceFile> {
 public:
  FarFile(std::uint64_t lastTag, std::uint32_t lastTime, bool isEndless)
      : m_lastTag(lastTag), m_lastTime(lastTime), m_isEndless(isEndless) {}

  const std::vector<std::uint32_t>& Seeks() const { return m_seeks; }

  Status Init(std::uint32_t, IQBFileResponse* response) override {
    m_response = ComPtr<IQBFileResponse>::Retain(response);
    return m_response->InitDone(kOk);
  }
  /// The tags behind the head are of a type that nothing knows.
  void HideTags() { m_type = 0x55; }

  Status Close() override {
    m_response = nullptr;
    return kOk;
  }
  Status Seek(std::uint32_t offset, BOOL) override {
    m_position = offset;
    m_seeks.push_back(offset);
    // Ends a scan that would come round for ever.
    return m_response->SeekDone(m_seeks.size() < 1000 ? kOk : kFailed);
  }
  Status SetAccessHint(std::uint32_t) override { return kOk; }
  Status Read(std::uint32_t count) override {
    const std::uint64_t end = m_isEndless ? 2 * kTooFar : kTooFar;
    const auto size = static_cast<std::uint32_t>(std::min<std::uint64_t>(count, end - std::min(end, m_position)));
    const std::shared_ptr<std::uint8_t[]> copy = std::make_shared<std::uint8_t[]>(count);
    const Bytes source = m_position < m_head.Field(2) ? m_head.File() : TagAt(m_position);
    const std::size_t from = m_position < m_head.Field(2) ? m_position : 0;
    if (from < source.size()) std::memcpy(copy.get(), &source[from], std::min<std::size_t>(size, source.size() - from));
    m_position += size;
    return m_response->ReadDone(kOk, host::MakeObject<host::Buffer>(copy, size).Get());
  }

 private:
  /// The field before the tag at that offset, the tag's header and the first byte of its body.
  Bytes TagAt(std::uint64_t offset) const {
    const std::uint64_t next = offset < m_lastTag ? m_lastTag : 2 * kTooFar;
    const std::uint64_t room = next - offset - 15;
    // The tag before the last one leaves room for a header: two tags share what is left.
    std::uint64_t size = room <= kLargestBody ? room : kLargestBody;
    if (room > kLargestBody && room - kLargestBody < 15) size -= 15;
    Bytes tag = FlvBuilder(kVideo).Tag(m_type, offset < m_lastTag ? 0 : m_lastTime, {0x22}).File();
    tag.erase(tag.begin(), tag.begin() + 9);
    for (int i = 0; i < 3; ++i) tag[5 + static_cast<std::size_t>(i)] = static_cast<std::uint8_t>(size >> (16 - 8 * i));
    tag.resize(16);
    return tag;
  }

  FlvBuilder m_head = Head();
  std::uint64_t m_lastTag;
  std::uint32_t m_lastTime;
  bool m_isEndless;
  std::uint8_t m_type = kVideoTag;
  ComPtr<IQBFileResponse> m_response;
  std::uint64_t m_position = 0;
  std::vector<std::uint32_t> m_seeks;
};

TEST(SeekFar, WhereOffsetsWouldComeRound_EndsAsAtTheEndOfTheFile) {
  // Where the last tag stands, counted from 4 GiB.
  for (const int distance : {-40000000, -32, -17, -16, -15, -4, -1, 0, 1, 9, 16, 40000}) {
    for (const bool isEndless : {false, true}) {
      SCOPED_TRACE(std::to_string(distance) + (isEndless ? ", endless" : ", ends at 4 GiB"));
      ScriptedHost host({.file = {}});
      const auto file =
          host::MakeObject<FarFile>(kTooFar + static_cast<std::uint64_t>(std::int64_t{distance}), 0, isEndless);
      ASSERT_EQ(kOk, host.InitPlugin());
      ASSERT_EQ(kOk, host.format->InitFileFormat(host.request.Get(), host.sink.Get(), file.Get()));
      ASSERT_EQ(kOk, host.GetFileHeader());
      ASSERT_EQ(kOk, host.GetStreamHeader(0));
      const std::size_t before = file->Seeks().size();
      EXPECT_EQ(kOk, host.Seek(1000));
      EXPECT_EQ("SeekDone 0x00000000", host.log.All().back());
      const std::vector<std::uint32_t> seeks(file->Seeks().begin() + static_cast<std::ptrdiff_t>(before),
                                             file->Seeks().end());
      EXPECT_GT(seeks.size(), 250U) << "the whole file is scanned";
      EXPECT_LT(seeks.size(), 270U);
      EXPECT_TRUE(std::is_sorted(seeks.begin(), seeks.end(), std::less_equal<>())) << "never back, never in place";
      if (isEndless) continue;
      host.GetPacket(0);
      EXPECT_EQ("StreamDone s=0", host.log.All().back());
    }
  }
}

TEST(DeliveryFar, OfTagsToSkip_EndsWhereOffsetsWouldComeRound) {
  for (const int distance : {-40000000, -16, -15, -1, 0, 1, 16}) {
    SCOPED_TRACE(distance);
    ScriptedHost host({.file = {}});
    const auto file = host::MakeObject<FarFile>(kTooFar + static_cast<std::uint64_t>(std::int64_t{distance}), 0, true);
    file->HideTags();
    ASSERT_EQ(kOk, host.InitPlugin());
    ASSERT_EQ(kOk, host.format->InitFileFormat(host.request.Get(), host.sink.Get(), file.Get()));
    ASSERT_EQ(kOk, host.GetFileHeader());
    ASSERT_EQ(kOk, host.GetStreamHeader(0));
    const std::size_t before = file->Seeks().size();
    host.RenewRequests();
    host.GetPacket(0);
    EXPECT_EQ(1U, host.log.Count("PacketReady"));
    EXPECT_EQ("StreamDone s=0", host.log.All().back());
    const std::vector<std::uint32_t> seeks(file->Seeks().begin() + static_cast<std::ptrdiff_t>(before),
                                           file->Seeks().end());
    EXPECT_GT(seeks.size(), 250U) << "the whole file is gone through";
    EXPECT_TRUE(std::is_sorted(seeks.begin(), seeks.end(), std::less_equal<>())) << "never back, never in place";
  }
}

TEST(SeekFar, ToTheLastTagThatOffsetsReach_FindsIt) {
  for (const std::uint32_t fromEnd : {17U, 18U, 4000U}) {
    SCOPED_TRACE(fromEnd);
    ScriptedHost host({.file = {}});
    const auto file = host::MakeObject<FarFile>(kTooFar - fromEnd, 1000, true);
    ASSERT_EQ(kOk, host.InitPlugin());
    ASSERT_EQ(kOk, host.format->InitFileFormat(host.request.Get(), host.sink.Get(), file.Get()));
    ASSERT_EQ(kOk, host.GetFileHeader());
    ASSERT_EQ(kOk, host.GetStreamHeader(0));
    EXPECT_EQ(kOk, host.Seek(1000));
    EXPECT_EQ("SeekDone 0x00000000", host.log.All().back());
    EXPECT_EQ(Head().Field(1), file->Seeks().back()) << "the only key frame";
    EXPECT_EQ(kTooFar - fromEnd, file->Seeks().end()[-2]);
  }
}

}  // namespace
}  // namespace qbflv::test
