// Everything that one pass over an FLV file finds out. An immutable value, which many sessions share.
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

// Times are timestamps in ms as the file stores them, unless something else is said; offsets and sizes are bytes. A
// playable tag is an audio or video tag with a body; tags are numbered in the order of the file, playable ones only.

/// What holds for audio and video alike.
struct StreamFacts {
  /// Playable tags, and the bytes of their bodies.
  std::uint64_t tags = 0;
  std::uint64_t bytes = 0;
  /// Without codec configurations, end-of-sequence marks and commands.
  std::uint64_t frames = 0;
  /// Codec configurations.
  std::uint64_t configurations = 0;
  /// Of the first tag's header, which every stream has.
  std::uint64_t firstOffset = 0;
  std::uint8_t firstByte = 0;
  /// Of the first tag with more than its codec's header bytes: where the plug-in lets the stream begin.
  std::optional<std::uint32_t> beginTime;
  /// Of the first frame.
  std::optional<std::uint32_t> firstTime;
  /// Of frames, with jumps continued: the first, and the latest.
  std::uint32_t firstContinuedTime = 0;
  std::uint32_t latestContinuedTime = 0;
  /// The distance of the last two frames: how long the last one is taken to last.
  std::uint32_t lastDistance = 0;
  /// The longest way to the next frame, jumps left aside.
  std::uint32_t longestDistance = 0;
  /// Frames that are earlier than the one before, jumps left aside.
  std::uint64_t stepsBack = 0;
  /// How far the stream gets ahead of the other one in the order of the file: in ms and in tags.
  std::uint32_t maxTimeAhead = 0;
  std::uint32_t maxTagsAhead = 0;

  bool IsPresent() const { return tags > 0; }
  /// In ms, from the first frame to the end of the latest, with jumps continued.
  std::uint32_t Duration() const { return firstTime ? latestContinuedTime - firstContinuedTime + lastDistance : 0; }
  /// In bits per second; 0 without frames.
  double BitRate() const;
};

struct AudioFacts : StreamFacts {
  // Of the first tag.
  std::uint8_t format = 0;
  std::uint32_t sampleRate = 0;
  std::uint8_t bitsPerSample = 0;
  std::uint8_t channels = 0;
  std::optional<AacConfiguration> aac;
};

struct VideoFacts : StreamFacts {
  /// Of the first tag; for codecs of the extended format 0.
  std::uint8_t codec = 0;
  /// Of the extended format: four characters, such as "hvc1"; otherwise 0.
  std::uint32_t fourCc = 0;
  std::optional<AvcConfiguration> avc;
  /// Of the first frame or configuration that tells one.
  PictureSize size;
  /// Frames of which a decoder can start, and whether the first frame is one.
  std::uint64_t keyFrames = 0;
  bool startsWithKeyFrame = false;
  /// Between key frames, in ms; 0 with fewer than two.
  std::uint32_t shortestKeyInterval = 0;
  std::uint32_t longestKeyInterval = 0;
  double meanKeyInterval = 0;

  /// Frames per second, on the average; 0 with fewer than two frames.
  double FrameRate() const;
};

/// A place where decoding can start: a key frame, or the codec configuration in front of one.
struct KeyPosition {
  std::uint32_t tag;
  std::uint32_t time;
  bool isKeyFrame;
};

/// A codec configuration that is the first of its stream, or differs from the one before.
struct Configuration {
  std::uint32_t tag;
  TagType type;
  /// Of the whole tag.
  std::vector<std::uint8_t> body;
};

/// Playable tags that stand in a row, with nothing but size fields between them.
struct Run {
  /// Of the first tag's header.
  std::uint64_t offset = 0;
  /// To the end of the last tag's body.
  std::uint64_t size = 0;
  std::uint32_t firstTag = 0;
  /// Whether a size field inside is wrong.
  bool hasWrongSizes = false;
};

/// From this tag on, `shift` is added to timestamps (modulo 2^32) to continue them where they jump.
struct Continuation {
  std::uint32_t firstTag;
  std::uint32_t shift;
};

/// The file's own metadata.
struct OwnMetadata {
  /// Of the tag's header.
  std::uint64_t offset = 0;
  /// A mixed array or object, without the list of key frames; what stands behind damage is missing.
  AmfValue values;
  /// Whether there is a "keyframes" entry; its times (in s) and positions, as far as they are numbers.
  bool hasKeyFrameList = false;
  std::vector<double> keyTimes;
  std::vector<double> keyPositions;
};

struct FileFacts {
  /// Whether it begins as an FLV file. If not, only fileSize, firstBytes and readFailed are set.
  bool isFlv = false;
  /// Whether reading failed; what was found until then stands here.
  bool readFailed = false;
  std::uint64_t fileSize = 0;
  std::vector<std::uint8_t> firstBytes;
  /// Of the file header.
  std::uint8_t version = 0;
  std::uint8_t flags = 0;

  AudioFacts audio;
  VideoFacts video;
  /// Script tags of any name, and which of them is the metadata.
  std::uint64_t scriptTags = 0;
  std::optional<OwnMetadata> metadata;
  DamageList damages;

  std::vector<Run> runs;
  /// Of each playable tag, its offset in its run.
  std::vector<std::uint32_t> tagOffsets;
  std::vector<KeyPosition> keyPositions;
  /// The first 100 of both streams.
  std::vector<Configuration> configurations;
  /// The first, for tag 0, has shift 0. There is more than one only where timestamps jump.
  std::vector<Continuation> continuations;
  /// The latest timestamp of any playable tag, and the same with jumps continued.
  std::uint32_t latestTime = 0;
  std::uint32_t latestContinuedTime = 0;

  std::uint32_t TagCount() const { return static_cast<std::uint32_t>(tagOffsets.size()); }
  /// The run that a tag belongs to; both must exist.
  const Run& RunOf(std::uint32_t tag) const;
  std::uint64_t TagOffset(std::uint32_t tag) const { return RunOf(tag).offset + tagOffsets[tag]; }
  /// The first tag whose header stands at this offset of the file or behind it; TagCount() if there is none.
  std::uint32_t TagAt(std::uint64_t offset) const;
  /// What a decoder needs in order to start with that tag: the body of the last configuration in front of it. Null if
  /// there is none.
  const std::vector<std::uint8_t>* ConfigurationBefore(std::uint32_t tag, TagType type) const;
  /// Of a run: one past its last tag.
  std::uint32_t EndOfRun(std::size_t run) const { return run + 1 < runs.size() ? runs[run + 1].firstTag : TagCount(); }

  /// Where the plug-in's times of seeks count from: the earlier of the streams' beginnings.
  std::uint32_t TimeBase() const;
  /// Of the earliest frame.
  std::uint32_t FirstFrameTime() const;

  /// Bytes that this object takes, roughly.
  std::size_t MemoryUse() const;
};

}  // namespace qbflv::flv
