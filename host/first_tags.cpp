#include "host/first_tags.h"

#include <algorithm>
#include <cerrno>
#include <optional>

#include "host/block_reader.h"
#include "host/host_error.h"
#include "host/system.h"

namespace qbflv::host {

namespace {

constexpr std::uint32_t kFileHeaderSize = 9;
constexpr std::uint32_t kTagHeaderSize = 11;
constexpr std::uint32_t kTagSizeField = 4;
/// Streams begin within these many tags, or are not waited for.
constexpr int kMostTags = 1000;

constexpr std::uint8_t kAudioTag = 8;
constexpr std::uint8_t kVideoTag = 9;
constexpr std::uint8_t kScriptTag = 18;
constexpr std::uint8_t kAudioFlag = 4;
constexpr std::uint8_t kVideoFlag = 1;

std::uint32_t BigEndian(const std::uint8_t* bytes, int count) {
  std::uint32_t value = 0;
  for (int i = 0; i < count; ++i) value = value << 8 | bytes[i];
  return value;
}

/// Reads all of it, or nothing.
std::optional<std::vector<std::uint8_t>> ReadExactly(BlockReader& reader, std::uint64_t offset, std::uint32_t count) {
  Slice slice;
  if (Failed(reader.Read(offset, count, slice))) throw HostError("cannot read the file's first tags");
  if (slice.size < count) return std::nullopt;
  return std::vector<std::uint8_t>(slice.bytes.get(), slice.bytes.get() + count);
}

/// Follows the tags of a file.
class Collector {
 public:
  explicit Collector(std::uint8_t flags)
      : m_awaitsAudio((flags & kAudioFlag) != 0), m_awaitsVideo((flags & kVideoFlag) != 0) {}

  bool IsDone() const { return !m_awaitsAudio && !m_awaitsVideo; }

  void Take(std::uint8_t type, std::uint32_t time, std::vector<std::uint8_t> body) {
    if (type == kAudioTag) {
      TakeMedia(type, time, std::move(body), m_tags.audioConfiguration, m_awaitsAudio);
    } else if (type == kVideoTag) {
      TakeMedia(type, time, std::move(body), m_tags.videoConfiguration, m_awaitsVideo);
    } else if (type == kScriptTag && m_tags.metadata.empty()) {
      m_tags.metadata = std::move(body);
    }
  }

  FirstTags Result() {
    m_tags.timeBase = m_firstTime.value_or(0);
    return std::move(m_tags);
  }

 private:
  void TakeMedia(std::uint8_t type, std::uint32_t time, std::vector<std::uint8_t> body,
                 std::vector<std::uint8_t>& configuration, bool& awaits) {
    if (body.empty()) return;
    m_firstTime = std::min(m_firstTime.value_or(time), time);
    if (!IsConfiguration(type, body.data(), body.size())) {
      awaits = false;
    } else if (awaits) {
      configuration = std::move(body);
    }
  }

  FirstTags m_tags;
  std::optional<std::uint32_t> m_firstTime;
  bool m_awaitsAudio;
  bool m_awaitsVideo;
};

}  // namespace

bool IsConfiguration(std::uint8_t type, const std::uint8_t* body, std::size_t size) {
  constexpr std::uint8_t kAAC = 10;
  constexpr std::uint8_t kAVC = 7;
  if (size < 2 || body[1] != 0) return false;
  return type == kAudioTag ? body[0] >> 4 == kAAC : type == kVideoTag && (body[0] & 0x0F) == kAVC;
}

FirstTags ReadFirstTags(const std::filesystem::path& path) {
  FileDescriptor file(system::OpenForReading(path));
  if (!file.IsOpen()) throw HostError::System("cannot open the file", errno);
  BlockReader reader(std::move(file), nullptr);
  const auto header = ReadExactly(reader, 0, kFileHeaderSize);
  if (!header) return {};

  Collector collector((*header)[4]);
  std::uint64_t offset = std::uint64_t{BigEndian(header->data() + 5, 4)} + kTagSizeField;
  for (int tag = 0; tag < kMostTags && !collector.IsDone(); ++tag) {
    const auto tagHeader = ReadExactly(reader, offset, kTagHeaderSize);
    if (!tagHeader) break;
    const std::uint8_t* const bytes = tagHeader->data();
    const std::uint32_t size = BigEndian(bytes + 1, 3);
    auto body = ReadExactly(reader, offset + kTagHeaderSize, size);
    if (!body) break;
    collector.Take(bytes[0], BigEndian(bytes + 4, 3) | std::uint32_t{bytes[7]} << 24, std::move(*body));
    offset += kTagHeaderSize + size + kTagSizeField;
  }
  return collector.Result();
}

}  // namespace qbflv::host
