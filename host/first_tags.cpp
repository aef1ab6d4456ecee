// What stands at the start of an FLV file and a player needs to begin anywhere in it.
#include "host/first_tags.h"

#include <algorithm>
#include <cerrno>
#include <iterator>
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

bool IsMetadata(std::span<const std::uint8_t> body) {
  // AMF0: a string and its length, then the characters.
  constexpr std::uint8_t kName[] = {2, 0, 10, 'o', 'n', 'M', 'e', 't', 'a', 'D', 'a', 't', 'a'};
  return body.size() > std::size(kName) && std::ranges::equal(body.first(std::size(kName)), kName);
}

/// Follows the tags of a file.
class Collector {
 public:
  explicit Collector(std::uint8_t flags)
      : m_audio{(flags & kAudioFlag) != 0, std::nullopt}, m_video{(flags & kVideoFlag) != 0, std::nullopt} {}

  bool IsDone() const { return !m_audio.isAwaited && !m_video.isAwaited; }

  void Take(std::uint8_t type, std::uint32_t time, std::vector<std::uint8_t> body) {
    if (type == kAudioTag) {
      TakeMedia(type, time, std::move(body), m_tags.audioConfiguration, m_audio);
    } else if (type == kVideoTag) {
      TakeMedia(type, time, std::move(body), m_tags.videoConfiguration, m_video);
    } else if (type == kScriptTag && m_tags.metadata.empty() && IsMetadata(body)) {
      m_tags.metadata = std::move(body);
    }
  }

  FirstTags Result() {
    const std::uint32_t audio = m_audio.time.value_or(m_video.time.value_or(0));
    m_tags.timeBase = std::min(audio, m_video.time.value_or(audio));
    return std::move(m_tags);
  }

 private:
  struct Media {
    bool isAwaited = false;
    /// Of the first tag.
    std::optional<std::uint32_t> time;
  };

  static void TakeMedia(std::uint8_t type, std::uint32_t time, std::vector<std::uint8_t> body,
                        std::vector<std::uint8_t>& configuration, Media& media) {
    if (body.empty()) return;
    if (!media.time) media.time = time;
    if (!IsConfiguration(type, body)) {
      media.isAwaited = false;
    } else if (media.isAwaited) {
      configuration = std::move(body);
    }
  }

  FirstTags m_tags;
  Media m_audio;
  Media m_video;
};

}  // namespace

bool IsConfiguration(std::uint8_t type, std::span<const std::uint8_t> body) {
  constexpr std::uint8_t kAAC = 10;
  constexpr std::uint8_t kAVC = 7;
  if (body.size() < 2 || body[1] != 0) return false;
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
