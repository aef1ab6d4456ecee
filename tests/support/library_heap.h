// The test program's heap operators. They watch the calls that come from the plug-in's library, or, in programs that
// link its code, those of the form that only the plug-in uses: new (std::nothrow).
#pragma once

#include <cstdint>

namespace qbflv::test {

struct LibraryHeap {
  /// Blocks that the library was given since the program began.
  std::int64_t allocations = 0;
  /// Those of them that were not given back yet.
  std::int64_t live = 0;
  /// Blocks given back in the other form than they were taken in: an array as a single object, or the reverse.
  std::int64_t mismatches = 0;
  /// Bytes that were not given back yet, and the most that there were since ForgetPeak.
  std::int64_t bytes = 0;
  std::int64_t peakBytes = 0;
};

LibraryHeap ReadLibraryHeap();
void ForgetPeak();

/// How the library is told that there is no memory.
enum class Shortage { kThrows, kReturnsNull };

/// While it lives, the library's n-th allocation, counted from 1, fails; with everyAfter also all that follow. The rest
/// of the program is spared.
class HeapShortage {
 public:
  HeapShortage(std::int64_t nth, Shortage shortage, bool everyAfter);
  HeapShortage(const HeapShortage&) = delete;
  HeapShortage& operator=(const HeapShortage&) = delete;
  ~HeapShortage();

  /// Whether the allocation was reached.
  bool Struck() const;
};

/// Says which library is watched. Its calls are told from others by where they return to.
void WatchLibrary(const void* anyAddressInIt);

/// Watches every call of new (std::nothrow).
void WatchNothrow();

}  // namespace qbflv::test
