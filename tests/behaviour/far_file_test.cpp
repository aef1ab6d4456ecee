// Files of 4 GiB and more: where 32-bit offsets would wrap, a scan and delivery end as at the end of the file.
#include <gtest/gtest.h>

#include <algorithm>
#include <functional>
#include <string>

#include "host/buffer.h"
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
};

/// Completes inside the calls. After the head come tags as large as they can be, up to one that leads to the last tag;
/// the tags after that are as large as can be again.
class FarFile final : public host::ComObject<IQBSourceFile> {
 public:
  explicit FarFile(const FarCase& c)
      : m_case(c), m_lastTag(kTooFar + static_cast<std::uint64_t>(std::int64_t{c.lastTag})) {}

  Status Init(std::uint32_t, IQBFileResponse* response) override {
    m_response = ComPtr<IQBFileResponse>::Retain(response);
    return m_response->InitDone(kOk);
  }
  Status Close() override {
    m_response = nullptr;
    return kOk;
  }
  Status Seek(std::uint32_t offset, BOOL) override {
    m_position = offset;
    seeks.push_back(offset);
    // Ends a scan that would wrap for ever.
    return m_response->SeekDone(seeks.size() < 1000 ? kOk : kFailed);
  }
  Status SetAccessHint(std::uint32_t) override { return kOk; }
  Status Read(std::uint32_t count) override {
    const std::uint64_t end = m_case.isEndless ? 2 * kTooFar : kTooFar;
    const auto size = static_cast<std::uint32_t>(std::min<std::uint64_t>(count, end - std::min(end, m_position)));
    const bool isHead = m_position < head.Field(2);
    Bytes bytes = isHead ? head.File() : TagAt(m_position);
    if (isHead) bytes.erase(bytes.begin(), bytes.begin() + static_cast<std::ptrdiff_t>(m_position));
    bytes.resize(size);
    m_position += size;
    const auto buffer = host::MakeObject<host::Buffer>();
    EXPECT_EQ(kOk, buffer->Set(bytes.data(), size));
    return m_response->ReadDone(kOk, buffer.Get());
  }

  const FlvBuilder head = FlvBuilder(kVideo).Metadata(QuickMetadata()).Video(0, 20);
  std::vector<std::uint32_t> seeks;

 private:
  /// The field before the tag at that offset, the tag's header and the first byte of its body.
  Bytes TagAt(std::uint64_t offset) const {
    const std::uint64_t next = offset < m_lastTag ? m_lastTag : 2 * kTooFar;
    const std::uint64_t room = next - offset - 15;
    // The tag before the last one leaves room for a header: two tags share what is left.
    std::uint64_t size = std::min<std::uint64_t>(room, kLargestBody);
    if (room > kLargestBody && room - kLargestBody < 15) size -= 15;
    const Bytes whole = FlvBuilder(kVideo)
                            .Tag(m_case.type, offset < m_lastTag ? 0 : m_case.lastTime, {0x22},
                                 {.dataSize = static_cast<std::uint32_t>(size)})
                            .File();
    return {whole.begin() + 9, whole.begin() + 9 + 16};
  }

  const FarCase m_case;
  const std::uint64_t m_lastTag;
  ComPtr<IQBFileResponse> m_response;
  std::uint64_t m_position = 0;
};

/// Opens the file and forgets the seeks that this took.
struct FarSession {
  explicit FarSession(const FarCase& c) : file(host::MakeObject<FarFile>(c)) {
    host.InitPlugin();
    EXPECT_EQ(kOk, host.format->InitFileFormat(host.request.Get(), host.sink.Get(), file.Get()));
    EXPECT_EQ(kOk, host.GetFileHeader());
    EXPECT_EQ(kOk, host.GetStreamHeader(0));
    file->seeks.clear();
  }

  void ExpectTheWholeFileForward() const {
    EXPECT_GT(file->seeks.size(), 250U) << "the whole file is gone through";
    EXPECT_LT(file->seeks.size(), 270U);
    EXPECT_TRUE(std::ranges::is_sorted(file->seeks, std::less_equal<>())) << "never back, never in place";
  }

  ScriptedHost host{{}};
  ComPtr<FarFile> file;
};

TEST(FarFile, WhereOffsetsWouldWrap_EndsASeekAsAtTheEndOfTheFile) {
  for (const int distance : {-40000000, -32, -17, -16, -15, -4, -1, 0, 1, 9, 16, 40000}) {
    for (const bool isEndless : {false, true}) {
      SCOPED_TRACE(std::to_string(distance) + (isEndless ? ", endless" : ", ends at 4 GiB"));
      FarSession session({.lastTag = distance, .isEndless = isEndless});
      EXPECT_EQ(kOk, session.host.Seek(1000));
      EXPECT_EQ("SeekDone 0x00000000", session.host.log.All().back());
      session.ExpectTheWholeFileForward();
      if (isEndless) continue;
      session.host.GetPacket(0);
      EXPECT_EQ("StreamDone s=0", session.host.log.All().back());
    }
  }
}

TEST(FarFile, OfTagsToSkip_EndsDeliveryWhereOffsetsWouldWrap) {
  for (const int distance : {-40000000, -16, -15, -1, 0, 1, 16}) {
    SCOPED_TRACE(distance);
    FarSession session({.lastTag = distance, .type = kUnknownTag});
    session.host.AskForAll();
    EXPECT_EQ(1U, session.host.log.Count("PacketReady"));
    EXPECT_EQ("StreamDone s=0", session.host.log.All().back());
    session.ExpectTheWholeFileForward();
  }
}

TEST(FarFile, WhoseLastTagIsWithinReach_IsSoughtToIt) {
  for (const int distance : {-17, -18, -4000}) {
    SCOPED_TRACE(distance);
    FarSession session({.lastTag = distance, .lastTime = 1000});
    EXPECT_EQ(kOk, session.host.Seek(1000));
    EXPECT_EQ("SeekDone 0x00000000", session.host.log.All().back());
    EXPECT_EQ(session.file->head.Field(1), session.file->seeks.back()) << "the only key frame";
    EXPECT_EQ(kTooFar + static_cast<std::uint64_t>(std::int64_t{distance}), session.file->seeks.end()[-2]);
  }
}

}  // namespace
}  // namespace qbflv::test
