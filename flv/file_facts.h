// The results of one pass over an FLV file. They do not change afterwards, and sessions share them.
#pragma once

#include <cstdint>
#include <memory>
#include <optional>
#include <span>
#include <vector>

#include "flv/amf.h"
#include "flv/codec_headers.h"
#include "flv/damage.h"
#include "flv/format.h"

namespace qbflv::flv {

// Offsets and sizes are in bytes. Times are in ms: timestamps as stored in the file, or continued times, from which
// jumps are removed (see Timeline). A playable tag is an audio or video tag with a body. Tag numbers count the playable
// tags in the order of the file.

/// What audio and video have in common.
struct StreamFacts {
  /// Number of playable tags, and total size of their bodies.
  std::uint64_t tags = 0;
  std::uint64_t bytes = 0;
  /// Number of playable tags other than codec configurations, end-of-sequence tags and commands.
  std::uint64_t frames = 0;
  /// Number of codec configurations.
  std::uint64_t configurations = 0;
  /// Offset of the first tag's header, and first byte of its body.
  std::uint64_t firstOffset = 0;
  std::uint8_t firstByte = 0;
  /// Timestamp of the first tag that has data after its codec header. For the plug-in, the stream begins there.
  std::optional<std::uint32_t> beginTime;
  /// Timestamp of the first frame.
  std::optional<std::uint32_t> firstTime;
  /// Continued times of the first and of the latest frame.
  std::uint32_t firstContinuedTime = 0;
  std::uint32_t latestContinuedTime = 0;
  /// Interval between the last two frames, which serves as the duration of the last frame.
  std::uint32_t lastDistance = 0;
  /// Interleaving: how far this stream is ahead of the other one at most, in ms, and its maximum number of consecutive
  /// frames without a frame of the other stream.
  std::uint32_t maxTimeAhead = 0;
  std::uint32_t maxTagsAhead = 0;

  bool IsPresent() const { return tags > 0; }
  /// Returns the continued time from the first frame to the end of the latest one.
  std::uint32_t Duration() const { return firstTime ? latestContinuedTime - firstContinuedTime + lastDistance : 0; }
  /// Returns the average bit rate in bits per second; 0 without frames.
  double BitRate() const;
};

struct AudioFacts : StreamFacts {
  // Sound format, rate, sample size and channels of the first tag.
  std::uint8_t format = 0;
  std::uint32_t sampleRate = 0;
  std::uint8_t bitsPerSample = 0;
  std::uint8_t channels = 0;
  std::optional<AacConfiguration> aac;
};

struct VideoFacts : StreamFacts {
  /// Codec ID of the first tag; 0 if the tag has an extended header (Enhanced RTMP).
  std::uint8_t codec = 0;
  /// Codec of an extended header: four characters, such as "hvc1"; otherwise 0.
  std::uint32_t fourCc = 0;
  std::optional<AvcConfiguration> avc;
  /// Picture size in the first key frame or codec configuration that contains one.
  PictureSize size;
  /// Number of key frames, and whether the first frame is a key frame.
  std::uint64_t keyFrames = 0;
  bool startsWithKeyFrame = false;
  /// Intervals between consecutive key frames; 0 with fewer than two key frames.
  std::uint32_t shortestKeyInterval = 0;
  std::uint32_t longestKeyInterval = 0;
  double meanKeyInterval = 0;

  /// Returns the average number of frames per second; 0 with fewer than two frames.
  double FrameRate() const;
};

/// A video tag at which decoding can start: a key frame or a codec configuration.
struct KeyPosition {
  std::uint32_t tag;
  std::uint32_t time;
  bool isKeyFrame;
};

/// A codec configuration: the first of its stream, or one that differs from the previous one.
struct Configuration {
  std::uint32_t tag;
  TagType type;
  /// The whole body of the tag.
  std::vector<std::uint8_t> body;
};

/// Consecutive playable tags with only previous-tag sizes between them.
struct Run {
  /// Offset of the first tag's header.
  std::uint64_t offset = 0;
  /// Size up to the end of the last tag's body.
  std::uint64_t size = 0;
  std::uint32_t firstTag = 0;
  /// Whether a previous-tag size between the tags is wrong.
  bool hasWrongSizes = false;
};

/// From tag firstTag on, continued time = timestamp + shift, modulo 2^32.
struct Continuation {
  std::uint32_t firstTag;
  std::uint32_t shift;
};

/// The metadata that the file contains.
struct OwnMetadata {
  /// Offset of the tag header.
  std::uint64_t offset = 0;
  /// A mixed array or object without the key-frame list. Incomplete if it could not be decoded to its end.
  AmfValue values;
  /// Whether there is a "keyframes" entry, and the times (in s) and file positions in it that are numbers.
  bool hasKeyFrameList = false;
  std::vector<double> keyTimes;
  std::vector<double> keyPositions;
};

struct FileFacts {
  /// Whether the file begins with an FLV file header. If not, only fileSize, firstBytes and readFailed are set.
  bool isFlv = false;
  /// Whether a read failed. The facts then describe the part of the file before it.
  bool readFailed = false;
  /// Whether the pass ended at ScanOptions::mostBytes. The facts then describe the part of the file before it.
  bool isTooComplex = false;
  std::uint64_t fileSize = 0;
  std::vector<std::uint8_t> firstBytes;
  /// Fields of the file header.
  std::uint8_t version = 0;
  std::uint8_t flags = 0;

  AudioFacts audio;
  VideoFacts video;
  /// Number of script tags, and the content of the first one that is metadata.
  std::uint64_t scriptTags = 0;
  std::optional<OwnMetadata> metadata;
  DamageList damages;

  std::vector<Run> runs;
  /// Offset of each playable tag from the beginning of its run.
  std::vector<std::uint32_t> tagOffsets;
  std::vector<KeyPosition> keyPositions;
  /// The first 100 configurations of both streams together.
  std::vector<Configuration> configurations;
  /// The first entry is for tag 0 and has shift 0. Further entries exist at jumps, and at codec configurations whose
  /// timestamps are out of order.
  std::vector<Continuation> continuations;
  /// Latest timestamp and latest continued time of all playable tags.
  std::uint32_t latestTime = 0;
  std::uint32_t latestContinuedTime = 0;

  /// Returns true if the pass reached the end of the file.
  bool IsWhole() const { return !readFailed && !isTooComplex; }
  std::uint32_t TagCount() const { return static_cast<std::uint32_t>(tagOffsets.size()); }
  /// Returns the run that contains a tag. REQUIRES: tag < TagCount().
  const Run& RunOf(std::uint32_t tag) const;
  std::uint64_t TagOffset(std::uint32_t tag) const { return RunOf(tag).offset + tagOffsets[tag]; }
  /// Returns the first tag whose header is at or after an offset in the file; TagCount() if there is none.
  std::uint32_t TagAt(std::uint64_t offset) const;
  /// Returns the body of the last codec configuration before a tag, which a decoder needs to start there. Returns null
  /// if there is none.
  const std::vector<std::uint8_t>* ConfigurationBefore(std::uint32_t tag, TagType type) const;
  /// Returns the number of the last tag in a run, plus 1.
  std::uint32_t EndOfRun(std::size_t run) const { return run + 1 < runs.size() ? runs[run + 1].firstTag : TagCount(); }

  /// Returns the plug-in's time base, to which seek times are relative: the earlier beginTime of the streams.
  std::uint32_t TimeBase() const;
  /// Returns the timestamp of the earlier of the streams' first frames.
  std::uint32_t FirstFrameTime() const;

  /// Returns the approximate memory use in bytes.
  std::size_t MemoryUse() const;
};

}  // namespace qbflv::flv
