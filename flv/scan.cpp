// The pass over an FLV file, which collects FileFacts.
#include "flv/scan.h"

#include <algorithm>
#include <limits>
#include <string_view>
#include <utility>

#include "flv/format.h"
#include "flv/tag_walker.h"
#include "flv/timeline.h"
#include "flv/view_layout.h"

namespace qbflv::flv {

namespace {

constexpr std::string_view kMetadataName = "onMetaData";
/// Maximum number of bytes that are read of a metadata tag and of a codec configuration.
constexpr std::size_t kMaxMetadataSize = 4 * 1024 * 1024;
constexpr std::size_t kMaxConfigurationSize = 64 * 1024;
constexpr std::size_t kMaxConfigurations = 100;
/// Bytes between two calls of onProgress.
constexpr std::uint64_t kProgressStep = 4 * 1024 * 1024;

constexpr int kAudio = 0;
constexpr int kVideo = 1;

// The first byte of a video tag's body holds the frame type in its upper half and the codec ID in its lower half; for
// AVC the packet type follows (Adobe's FLV format, annex E). In an extended header (Enhanced RTMP) the top bit is set,
// the frame type has three bits, and the lower half is the packet type.
constexpr std::uint8_t kExtendedVideo = 0x80;
constexpr std::uint8_t kKeyFrameType = 1;
constexpr std::uint8_t kCommandFrameType = 5;
constexpr std::uint8_t kSequenceHeader = 0;
constexpr std::uint8_t kAvcFrame = 1;
/// Bytes before the codec configuration in the body of an AVC tag and of an AAC tag.
constexpr std::size_t kAvcPrefix = 5;
constexpr std::size_t kAacPrefix = 2;

TagContent AudioContent(std::span<const std::uint8_t> body) {
  const bool isConfiguration = body.size() >= 2 && body[0] >> 4 == kSoundAac && body[1] == 0;
  return isConfiguration ? TagContent::kConfiguration : TagContent::kFrame;
}

TagContent VideoContent(std::span<const std::uint8_t> body) {
  constexpr std::uint8_t kFrames[] = {1, 3};  // packet types: coded frames with and without a composition time
  const bool isExtended = (body[0] & kExtendedVideo) != 0;
  const int frameType = isExtended ? body[0] >> 4 & 7 : body[0] >> 4;
  const TagContent frame = frameType == kKeyFrameType ? TagContent::kKeyFrame : TagContent::kFrame;
  if (frameType == kCommandFrameType) return TagContent::kOther;
  if (isExtended) {
    const int packet = body[0] & 0x0F;
    if (packet == kSequenceHeader) return TagContent::kConfiguration;
    return std::ranges::find(kFrames, packet) != std::end(kFrames) ? frame : TagContent::kOther;
  }
  if ((body[0] & 0x0F) != kCodecAvc || body.size() < 2) return frame;
  if (body[1] == kSequenceHeader) return TagContent::kConfiguration;
  return body[1] == kAvcFrame ? frame : TagContent::kOther;
}

/// Returns the size of the codec header as the plug-in decodes it. A tag without data after it does not begin a stream.
std::uint32_t PrefixSize(const Tag& tag) {
  if (tag.header.Is(TagType::kAudio)) return tag.start[0] >> 4 == kSoundAac && tag.header.size > 1 ? 2 : 1;
  return (tag.start[0] & 0x0F) == kCodecAvc && tag.header.size >= kAvcPrefix ? kAvcPrefix : 1;
}

/// Returns the elements that are numbers. array: may be null.
std::vector<double> Numbers(const AmfValue* array) {
  std::vector<double> numbers;
  if (array == nullptr) return numbers;
  for (const AmfValue::Entry& entry : array->Entries()) {
    if (entry.value.IsNumber()) numbers.push_back(entry.value.Number());
  }
  return numbers;
}

class Scanner {
 public:
  Scanner(const ByteSource& source, const ScanOptions& options)
      : m_options(options),
        m_facts(std::make_shared<FileFacts>()),
        m_source(source),
        m_walker(source, m_facts->damages) {}

  std::shared_ptr<const FileFacts> Scan() {
    m_facts->fileSize = m_walker.FileSize();
    m_facts->isFlv = m_walker.ReadFileHeader();
    m_facts->version = m_walker.Version();
    m_facts->flags = m_walker.Flags();
    ReadFirstBytes();
    Tag tag;
    while (m_facts->isFlv && !m_facts->isTooComplex && m_walker.Next(tag)) {
      Take(tag);
      if (tag.offset >= m_nextProgress && !ContinuesAt(tag.offset)) return nullptr;
    }
    m_facts->readFailed = m_facts->readFailed || m_walker.HasFailed();
    Finish();
    return m_facts;
  }

 private:
  void ReadFirstBytes() {
    constexpr std::size_t kCount = 64;
    m_facts->firstBytes.resize(kCount);
    const std::int64_t got = m_source.ReadAt(0, m_facts->firstBytes);
    m_facts->readFailed = got < 0;
    m_facts->firstBytes.resize(static_cast<std::size_t>(std::max<std::int64_t>(got, 0)));
  }

  /// Returns false if onProgress cancelled the pass.
  bool ContinuesAt(std::uint64_t offset) {
    m_nextProgress = offset + kProgressStep;
    m_facts->isTooComplex = TableSize() > m_options.mostBytes;
    return !m_options.onProgress || m_options.onProgress(offset, m_facts->fileSize);
  }

  /// Returns the size of the tables that grow with the file, and of the pieces of a layout: at most one for each run
  /// and each continuation.
  std::size_t TableSize() const {
    const FileFacts& facts = *m_facts;
    return facts.tagOffsets.size() * sizeof(std::uint32_t) + facts.keyPositions.size() * sizeof(KeyPosition) +
           facts.runs.size() * (sizeof(Run) + sizeof(ViewLayout::Piece)) +
           facts.continuations.size() * (sizeof(Continuation) + sizeof(ViewLayout::Piece));
  }

  void Take(const Tag& tag) {
    switch (tag.header.type) {
      case static_cast<std::uint8_t>(TagType::kAudio):
      case static_cast<std::uint8_t>(TagType::kVideo):
        if (tag.header.size == 0) {
          Report(DamageKind::kEmptyTag, tag, 1);
        } else if (tag.startSize > 0 && m_facts->tagOffsets.size() < std::numeric_limits<std::uint32_t>::max()) {
          TakeMedia(tag);
        }
        break;
      case static_cast<std::uint8_t>(TagType::kScript):
        ++m_facts->scriptTags;
        if (!m_facts->metadata) TakeScript(tag);
        break;
      default:
        constexpr std::uint8_t kFilterBit = 0x20;
        const bool isEncrypted = (tag.header.type & kFilterBit) != 0;
        Report(isEncrypted ? DamageKind::kEncryptedTag : DamageKind::kUnknownTag, tag, tag.header.type);
    }
  }

  void TakeMedia(const Tag& tag) {
    const bool isAudio = tag.header.Is(TagType::kAudio);
    StreamFacts& stream = isAudio ? static_cast<StreamFacts&>(m_facts->audio) : m_facts->video;
    const TagContent content = ContentOf(tag.header.type, tag.Start());
    if (!stream.IsPresent()) {
      stream.firstOffset = tag.offset;
      stream.firstByte = tag.start[0];
      isAudio ? DescribeAudio(tag) : DescribeVideo(tag);
    }
    if (!stream.beginTime && tag.header.size > PrefixSize(tag)) stream.beginTime = tag.header.time;
    AddToRun(tag);
    ++stream.tags;
    stream.bytes += tag.header.size;
    if (content == TagContent::kConfiguration) TakeConfiguration(tag, stream, isAudio);
    const bool isFrame = content == TagContent::kFrame || content == TagContent::kKeyFrame;
    const Timeline::Place place = m_timeline.Take(isAudio ? kAudio : kVideo, tag.header.time, isFrame);
    FollowTime(tag, place);
    if (isFrame) TakeFrame(tag, stream, isAudio, place);
    if (!isAudio) TakeVideo(tag, content);
  }

  void AddToRun(const Tag& tag) {
    std::vector<Run>& runs = m_facts->runs;
    const bool continues = !runs.empty() && tag.offset == runs.back().offset + runs.back().size + kSizeFieldSize &&
                           tag.offset - runs.back().offset <= std::numeric_limits<std::uint32_t>::max();
    if (!continues) runs.push_back({tag.offset, 0, m_facts->TagCount(), false});
    Run& run = runs.back();
    if (continues && !m_hasCorrectSize) run.hasWrongSizes = true;
    m_facts->tagOffsets.push_back(static_cast<std::uint32_t>(tag.offset - run.offset));
    run.size = tag.End() - run.offset;
    m_hasCorrectSize = tag.hasCorrectSize;
  }

  void FollowTime(const Tag& tag, const Timeline::Place& place) {
    if (place.jump != 0) {
      const auto amount = static_cast<std::uint64_t>(std::abs(std::int64_t{place.jump}));
      Report(place.jump < 0 ? DamageKind::kTimeBack : DamageKind::kTimeLeap, tag, amount);
    }
    std::vector<Continuation>& continuations = m_facts->continuations;
    const std::uint32_t number = m_facts->TagCount() - 1;
    if (continuations.empty()) continuations.push_back({0, 0});
    if (continuations.back().shift != place.shift) continuations.push_back({number, place.shift});
    const std::uint32_t continued = tag.header.time + place.shift;
    const bool isFirst = number == 0;
    if (isFirst || TimeBetween(m_facts->latestTime, tag.header.time) > 0) m_facts->latestTime = tag.header.time;
    if (isFirst || TimeBetween(m_facts->latestContinuedTime, continued) > 0) m_facts->latestContinuedTime = continued;
  }

  void TakeFrame(const Tag& tag, StreamFacts& stream, bool isAudio, const Timeline::Place& place) {
    const std::uint32_t time = tag.header.time;
    const std::uint32_t continued = time + place.shift;
    const bool jumps = place.jump != 0;
    Pace& pace = m_paces[isAudio ? kAudio : kVideo];
    Pace& other = m_paces[isAudio ? kVideo : kAudio];
    if (!stream.firstTime) {
      stream.firstTime = time;
      stream.firstContinuedTime = stream.latestContinuedTime = continued;
      stream.lastDistance = pace.distance;
    } else if (!jumps) {
      const std::int32_t distance = TimeBetween(pace.last, time);
      if (distance > 0) {
        stream.lastDistance = static_cast<std::uint32_t>(std::min<std::int32_t>(distance, Timeline::kMaxStepBack));
      }
    }
    if (TimeBetween(stream.latestContinuedTime, continued) > 0) stream.latestContinuedTime = continued;
    pace.last = time;
    ++stream.frames;

    ++pace.tagsAhead;
    other.tagsAhead = 0;
    const StreamFacts& otherStream = isAudio ? static_cast<StreamFacts&>(m_facts->video) : m_facts->audio;
    if (otherStream.firstTime && !jumps) {
      const std::int32_t ahead = TimeBetween(other.last, time);
      stream.maxTimeAhead = std::max(stream.maxTimeAhead, static_cast<std::uint32_t>(std::max(ahead, 0)));
      stream.maxTagsAhead = std::max(stream.maxTagsAhead, pace.tagsAhead);
    }
  }

  void TakeVideo(const Tag& tag, TagContent content) {
    VideoFacts& video = m_facts->video;
    const bool isKey = content == TagContent::kKeyFrame;
    if (isKey || content == TagContent::kConfiguration) {
      m_facts->keyPositions.push_back({m_facts->TagCount() - 1, tag.header.time, isKey});
    }
    if (isKey && !video.size.IsKnown()) video.size = ReadPictureSize(video.codec, tag.Start().subspan(1));
    if (video.frames == 1 && isKey) video.startsWithKeyFrame = true;
    if (!isKey) return;
    if (++video.keyFrames > 1) {
      const std::uint32_t interval = tag.header.time - m_lastKeyTime;
      if (TimeBetween(m_lastKeyTime, tag.header.time) >= 0) {
        video.shortestKeyInterval = m_keyIntervals == 0 ? interval : std::min(video.shortestKeyInterval, interval);
        video.longestKeyInterval = std::max(video.longestKeyInterval, interval);
        m_keyIntervalSum += interval;
        ++m_keyIntervals;
      }
    }
    m_lastKeyTime = tag.header.time;
  }

  void DescribeAudio(const Tag& tag) {
    constexpr std::uint32_t kRates[] = {5512, 11025, 22050, 44100};
    AudioFacts& audio = m_facts->audio;
    const std::uint8_t byte = tag.start[0];
    audio.format = byte >> 4;
    audio.sampleRate = kRates[byte >> 2 & 3];
    audio.bitsPerSample = (byte & 2) != 0 ? 16 : 8;
    audio.channels = (byte & 1) != 0 ? 2 : 1;
  }

  void DescribeVideo(const Tag& tag) {
    VideoFacts& video = m_facts->video;
    if ((tag.start[0] & kExtendedVideo) == 0) {
      video.codec = tag.start[0] & 0x0F;
    } else if (tag.startSize >= 5) {
      video.fourCc = ReadNumber<4>(&tag.start[1]);
    }
  }

  void TakeConfiguration(const Tag& tag, StreamFacts& stream, bool isAudio) {
    const std::vector<std::uint8_t> body = m_walker.ReadBody(tag, kMaxConfigurationSize);
    ++stream.configurations;
    const std::uint32_t number = m_facts->TagCount() - 1;
    const TagType type = isAudio ? TagType::kAudio : TagType::kVideo;
    const std::vector<std::uint8_t>* const last = m_facts->ConfigurationBefore(number, type);
    if (last != nullptr && *last != body) Report(DamageKind::kConfigurationChanged, tag, body.size());
    const bool isNew = last == nullptr || *last != body;
    if (isNew && m_facts->configurations.size() < kMaxConfigurations) {
      m_facts->configurations.push_back({number, type, body});
    }
    if (stream.configurations > 1) return;
    if (stream.frames > 0) Report(DamageKind::kMissingConfiguration, tag, 1);
    const std::span<const std::uint8_t> bytes(body);
    if (isAudio && body.size() > kAacPrefix) {
      m_facts->audio.aac = ReadAacConfiguration(bytes.subspan(kAacPrefix));
    } else if (!isAudio && m_facts->video.codec == kCodecAvc && body.size() > kAvcPrefix) {
      m_facts->video.avc = ReadAvcConfiguration(bytes.subspan(kAvcPrefix));
      if (m_facts->video.avc) m_facts->video.size = m_facts->video.avc->size;
    }
  }

  void TakeScript(const Tag& tag) {
    const std::vector<std::uint8_t> body = m_walker.ReadBody(tag, kMaxMetadataSize);
    AmfReader reader(body);
    AmfValue name;
    if (!reader.Read(name) || name.Text() != kMetadataName) return;
    OwnMetadata metadata;
    metadata.offset = tag.offset;
    if (!reader.Read(metadata.values)) Report(DamageKind::kBrokenScript, tag, body.size());
    const bool hasNames = metadata.values.GetType() == AmfValue::Type::kMixedArray ||
                          metadata.values.GetType() == AmfValue::Type::kObject;
    if (!hasNames) metadata.values = AmfValue(AmfValue::Type::kMixedArray);
    if (const AmfValue* const list = metadata.values.Find("keyframes")) {
      metadata.hasKeyFrameList = true;
      metadata.keyTimes = Numbers(list->Find("times"));
      metadata.keyPositions = Numbers(list->Find("filepositions"));
      metadata.values.Remove("keyframes");
    }
    m_facts->metadata = std::move(metadata);
  }

  void Finish() {
    VideoFacts& video = m_facts->video;
    if (m_keyIntervals > 0) {
      video.meanKeyInterval = static_cast<double>(m_keyIntervalSum) / static_cast<double>(m_keyIntervals);
    }
    // Release unused capacity, because the facts are kept in memory for as long as the file is in use.
    m_facts->runs.shrink_to_fit();
    m_facts->tagOffsets.shrink_to_fit();
    m_facts->keyPositions.shrink_to_fit();
    m_facts->continuations.shrink_to_fit();
  }

  void Report(DamageKind kind, const Tag& tag, std::uint64_t amount) {
    m_facts->damages.Add({kind, tag.offset, tag.header.time, amount});
  }

  /// The latest frames of one stream.
  struct Pace {
    /// Timestamp of the last frame.
    std::uint32_t last = 0;
    /// Duration of a frame in ms, for a stream that has only one.
    std::uint32_t distance;
    /// Number of frames since the last frame of the other stream.
    std::uint32_t tagsAhead = 0;
  };

  const ScanOptions& m_options;
  const std::shared_ptr<FileFacts> m_facts;
  const ByteSource& m_source;
  TagWalker m_walker;
  Timeline m_timeline;
  Pace m_paces[2] = {{.distance = 23}, {.distance = 40}};
  /// Whether the previous-tag size after the last playable tag is present and correct.
  bool m_hasCorrectSize = true;
  std::uint32_t m_lastKeyTime = 0;
  std::uint64_t m_keyIntervalSum = 0;
  std::uint64_t m_keyIntervals = 0;
  std::uint64_t m_nextProgress = kProgressStep;
};

}  // namespace

std::shared_ptr<const FileFacts> ScanFile(const ByteSource& source, const ScanOptions& options) {
  return Scanner(source, options).Scan();
}

TagContent ContentOf(std::uint8_t type, std::span<const std::uint8_t> body) {
  if (body.empty()) return TagContent::kOther;
  if (type == static_cast<std::uint8_t>(TagType::kAudio)) return AudioContent(body);
  if (type == static_cast<std::uint8_t>(TagType::kVideo)) return VideoContent(body);
  return TagContent::kOther;
}

}  // namespace qbflv::flv
