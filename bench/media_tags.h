// What is played: the benchmark's own file, and a file's media tags, counted plainly, which both sides are held
// against.
#pragma once

#include <cstdint>
#include <span>

#include "host/memory_file.h"

namespace qbflv::bench {

/// Whether a tag's body is something to play: not codec configuration, an end of sequence, or nothing at all.
bool IsPlayable(std::uint8_t tagType, std::span<const std::uint8_t> body);

struct MediaTags {
  std::uint64_t playable = 0;
  /// Of the last tag, in ms.
  std::uint32_t lastTime = 0;
};

MediaTags CountMediaTags(const host::MemoryFile& file);

/// The file with metadata that tells the picture's size and nothing else.
host::MemoryFile WithoutRates(const host::MemoryFile& file);

/// A file of that many small tags, audio and video in turn, 20 ms apart, a key frame every second, behind metadata that
/// tells everything.
host::MemoryFile MakeSmallTags(std::uint32_t count);

}  // namespace qbflv::bench
