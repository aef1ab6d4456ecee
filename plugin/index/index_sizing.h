// How large a seek index a file gets.
#pragma once

#include <algorithm>
#include <cstdint>

namespace qbflv {

struct IndexSizing {
  /// Least distance between two positions, in ms.
  std::uint32_t granularity = 0;
  /// Most positions of one stream.
  std::uint32_t capacity = 0;
};

/// Spreads a fixed count of positions over the file, but keeps them between 50 ms and 15 s apart: closer ones save
/// nothing, wider ones make every seek scan for long.
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
