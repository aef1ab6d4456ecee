// Computes the size of the seek index from the duration of the file.
#pragma once

#include <algorithm>
#include <cstdint>

namespace qbflv {

struct IndexSizing {
  /// Smallest distance between two positions, in ms.
  std::uint32_t granularity = 0;
  /// Largest number of positions per stream.
  std::uint32_t capacity = 0;
};

/// Distributes a fixed number of positions over the file, with a distance of 50 ms to 15 s: smaller distances do not
/// make seeks faster, larger ones make every seek scan many tags.
constexpr IndexSizing SizeIndexFor(std::uint32_t durationMs) {
  constexpr std::uint32_t kMaxCapacity = 2048;
  constexpr std::uint32_t kMinCapacity = 32;
  constexpr std::uint32_t kMaxGranularity = 15000;
  constexpr std::uint32_t kMinGranularity = 50;

  const std::uint32_t granularity = durationMs / kMaxCapacity;
  if (granularity < kMinGranularity) return {kMinGranularity, std::max(durationMs / kMinGranularity, kMinCapacity)};
  return {std::min(granularity, kMaxGranularity), kMaxCapacity};
}

}  // namespace qbflv
