#include "fuzz/target.h"

#include <ctime>

#include "fuzz/heap_peak.h"

namespace {

/// What no input may have taken, of the plug-in and its host together.
constexpr std::int64_t kMostMemory = 64 << 20;

/// In seconds of the processor: a machine that is busy with something else is no finding.
constexpr double kMostTime = 1;

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  const qbflv::fuzz::HeapPeak heap;
  const std::clock_t begin = std::clock();
  qbflv::fuzz::Try({data, size});
  const double seconds = static_cast<double>(std::clock() - begin) / CLOCKS_PER_SEC;
  qbflv::fuzz::Require(seconds <= kMostTime, "an input takes bounded time");
  qbflv::fuzz::Require(heap.Taken() <= kMostMemory, "an input takes bounded memory");
  return 0;
}
