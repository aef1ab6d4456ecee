// The benchmark's input files, and a plain count of media tags to compare both readers with.
#pragma once

#include <cstdint>
#include <span>

#include "host/memory_file.h"

namespace qbflv::bench {

/// Returns false for codec configurations, end-of-sequence tags and empty tags.
bool IsPlayable(std::uint8_t tagType, std::span<const std::uint8_t> body);

struct MediaTags {
  std::uint64_t playable = 0;
  /// Time of the last tag, in ms.
  std::uint32_t lastTime = 0;
};

MediaTags CountMediaTags(const host::MemoryFile& file);

/// Returns the file with metadata that contains only the picture size.
host::MemoryFile WithoutRates(const host::MemoryFile& file);

/// Returns a file with complete metadata and that many small tags: audio and video alternately, 20 ms apart, a key
/// frame every second.
host::MemoryFile MakeSmallTags(std::uint32_t count);

}  // namespace qbflv::bench
