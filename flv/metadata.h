// Makes the metadata of an FLV file.
#pragma once

#include <cstdint>
#include <span>
#include <vector>

#include "flv/file_facts.h"

namespace qbflv::flv {

/// What metadata says that depends on how the file is written.
struct MetadataValues {
  bool hasAudio = false;
  bool hasVideo = false;
  /// In s.
  double duration = 0;
  double lastTime = 0;
  /// In bytes: the file, and the tags in it with their headers.
  std::uint64_t fileSize = 0;
  std::uint64_t audioSize = 0;
  std::uint64_t videoSize = 0;
  /// The list of key frames: in s, and offsets of tag headers. Empty leaves it out.
  std::vector<double> keyTimes;
  std::vector<double> keyPositions;
};

/// The body of a script tag: the file's own texts and values, and in the place of its measured ones those that hold.
/// Its size depends on the facts, the streams and the number of key frames alone.
std::vector<std::uint8_t> MakeMetadata(const FileFacts& facts, const MetadataValues& values);

/// What stands in front of the first media tag: the file header, the metadata's tag, and its size field.
std::vector<std::uint8_t> MakeFileStart(std::uint8_t flags, std::span<const std::uint8_t> metadata);

}  // namespace qbflv::flv
