#include "fuzz/target.h"

#include "fuzz/heap_peak.h"

namespace {

/// What no input may have taken, of the plug-in and its host together.
constexpr std::int64_t kMostMemory = 64 << 20;

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  const qbflv::fuzz::HeapPeak heap;
  qbflv::fuzz::Try({data, size});
  qbflv::fuzz::Require(heap.Taken() <= kMostMemory, "an input takes bounded memory");
  return 0;
}
