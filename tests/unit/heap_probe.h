// Watches what the code under test takes from the heap, and refuses it on demand.
#pragma once

#include <cstddef>
#include <limits>

namespace qbflv {

/// Counts the allocations that can be refused (`new (std::nothrow)`): the plug-in makes no others, and the tests make
/// none of them. One probe at a time.
class HeapProbe {
 public:
  /// allowed: allocations before the first one that is refused, with all after it.
  explicit HeapProbe(std::size_t allowed = std::numeric_limits<std::size_t>::max());
  ~HeapProbe();
  HeapProbe(const HeapProbe&) = delete;
  HeapProbe& operator=(const HeapProbe&) = delete;

  /// Bytes that are allocated now, of those that were allocated since the probe was made.
  [[nodiscard]] std::size_t LiveBytes() const;
  /// The most that were allocated at any moment.
  [[nodiscard]] std::size_t PeakBytes() const;
  /// The sum of all allocations, freed or not.
  [[nodiscard]] std::size_t TotalBytes() const;
  [[nodiscard]] bool HasRefused() const;
};

}  // namespace qbflv
