// Runs a target and limits the processor time and the peak memory of an input. Memory is measured only in builds with
// AddressSanitizer.
#include <algorithm>
#include <ctime>

#include "fuzz/target.h"

#if defined(__SANITIZE_ADDRESS__)
#define QBFLV_HAS_HEAP_HOOKS 1
#elif defined(__has_feature)
#if __has_feature(address_sanitizer)
#define QBFLV_HAS_HEAP_HOOKS 1
#endif
#endif

#ifdef QBFLV_HAS_HEAP_HOOKS
// Functions of the sanitizer's runtime. Not every compiler has the header.
extern "C" int __sanitizer_install_malloc_and_free_hooks(void (*onAllocation)(const volatile void*, std::size_t),
                                                         void (*onFree)(const volatile void*));
extern "C" std::size_t __sanitizer_get_allocated_size(const volatile void* block);
#endif

namespace qbflv::fuzz {

namespace {

/// Memory limit in bytes for the plug-in and its host together.
constexpr std::int64_t kMaxMemory = 64 << 20;

/// Limit in seconds of processor time, which does not depend on other load.
constexpr double kMaxSeconds = 1;

std::int64_t live = 0;
std::int64_t peak = 0;

#ifdef QBFLV_HAS_HEAP_HOOKS
void OnAllocation(const volatile void* /*block*/, std::size_t size) {
  live += static_cast<std::int64_t>(size);
  peak = std::max(peak, live);
}

void OnFree(const volatile void* block) { live -= static_cast<std::int64_t>(__sanitizer_get_allocated_size(block)); }

const bool isWatching = __sanitizer_install_malloc_and_free_hooks(OnAllocation, OnFree) != 0;
#endif

}  // namespace

void RunBounded(Target target, Input input) {
  const std::int64_t before = live;
  peak = live;
  const std::clock_t begin = std::clock();
  target(input);
  const double seconds = static_cast<double>(std::clock() - begin) / CLOCKS_PER_SEC;
  Require(seconds <= kMaxSeconds, "an input takes bounded time");
  Require(peak - before <= kMaxMemory, "an input takes bounded memory");
}

}  // namespace qbflv::fuzz
