// The benchmark's input files, and a plain count of media tags.
#include "bench/media_tags.h"

#include <algorithm>

#include "flv/scan.h"
#include "tests/support/flv_builder.h"

namespace qbflv::bench {

namespace {

// Sizes of Adobe's FLV format, annex E. The tag header includes the previous-tag size here.
constexpr std::uint64_t kFileHeaderSize = 9;
constexpr std::uint64_t kTagHeaderSize = 15;

std::uint32_t BigEndian24(const std::uint8_t* bytes) {
  return std::uint32_t{bytes[0]} << 16U | std::uint32_t{bytes[1]} << 8U | bytes[2];
}

host::MemoryFile Join(std::span<const std::uint8_t> first, std::span<const std::uint8_t> second) {
  host::MemoryFile file = host::MakeMemoryFile(first.size() + second.size());
  std::ranges::copy(second, std::ranges::copy(first, file.bytes.get()).out);
  return file;
}

}  // namespace

bool IsPlayable(std::uint8_t tagType, std::span<const std::uint8_t> body) {
  const flv::TagContent content = flv::ContentOf(tagType, body);
  return body.size() >= 2 && (content == flv::TagContent::kFrame || content == flv::TagContent::kKeyFrame);
}

MediaTags CountMediaTags(const host::MemoryFile& file) {
  MediaTags tags;
  for (std::uint64_t offset = kFileHeaderSize; offset + kTagHeaderSize < file.size;) {
    const std::uint8_t* const header = file.bytes.get() + offset + 4;
    const std::uint32_t size = BigEndian24(header + 1);
    offset += kTagHeaderSize;
    if (offset + size > file.size) break;
    const bool isMedia = header[0] == test::kAudioTag || header[0] == test::kVideoTag;
    if (isMedia) tags.lastTime = BigEndian24(header + 4) | std::uint32_t{header[7]} << 24U;
    if (isMedia && IsPlayable(header[0], {file.bytes.get() + offset, size})) ++tags.playable;
    offset += size;
  }
  return tags;
}

host::MemoryFile WithoutRates(const host::MemoryFile& file) {
  using test::amf::Number;
  test::FlvBuilder head(test::kBoth);
  head.Metadata(test::amf::MixedArray({{"width", Number(640)}, {"height", Number(360)}}));
  std::uint64_t rest = kFileHeaderSize;
  const std::uint8_t* const firstTag = file.bytes.get() + rest + 4;
  if (firstTag[0] == test::kScriptTag) rest += kTagHeaderSize + BigEndian24(firstTag + 1);
  rest += 4;  // the previous-tag size; the new head ends with its own
  return Join(head.File(), {file.bytes.get() + rest, file.size - rest});
}

host::MemoryFile MakeSmallTags(std::uint32_t count) {
  // 22050 Hz, 16 bits, mono: a format that libavformat does not split into frames again.
  constexpr std::uint8_t kPcm = 0x3A;
  constexpr std::uint32_t kInterval = 20;
  constexpr std::uint32_t kKeyFrameInterval = 1000;
  test::FlvBuilder flv(test::kBoth);
  flv.Metadata(test::QuickMetadata());
  for (std::uint32_t i = 0; i < count; i += 2) {
    const std::uint32_t time = i / 2 * kInterval;
    flv.Tag(test::kAudioTag, time, test::AudioBody(60 + i % 40, kPcm))
        .Video(time, 100 + i % 100, time % kKeyFrameInterval == 0);
  }
  return Join(flv.File(), {});
}

}  // namespace qbflv::bench
