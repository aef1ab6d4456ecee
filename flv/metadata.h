// Builds the metadata of an FLV file.
#pragma once

#include <cstdint>
#include <span>
#include <vector>

#include "flv/file_facts.h"

namespace qbflv::flv {

/// The metadata values that depend on how the file is written.
struct MetadataValues {
  bool hasAudio = false;
  bool hasVideo = false;
  /// Duration and last timestamp in s.
  double duration = 0;
  double lastTime = 0;
  /// Sizes in bytes: of the file, and of its audio and video tags with their headers.
  std::uint64_t fileSize = 0;
  std::uint64_t audioSize = 0;
  std::uint64_t videoSize = 0;
  /// Key-frame list: times in s, and offsets of the tag headers. If empty, the metadata contains no list.
  std::vector<double> keyTimes;
  std::vector<double> keyPositions;
};

/// Returns the body of a script tag: the entries of the file's own metadata, with measured values replaced by those of
/// facts and values. Its size depends only on the facts, hasAudio, hasVideo and the number of key frames.
std::vector<std::uint8_t> MakeMetadata(const FileFacts& facts, const MetadataValues& values);

/// Returns the file header, which announces the streams, the metadata tag and the previous-tag size after it.
std::vector<std::uint8_t> MakeFileStart(bool hasAudio, bool hasVideo, std::span<const std::uint8_t> metadata);

}  // namespace qbflv::flv
