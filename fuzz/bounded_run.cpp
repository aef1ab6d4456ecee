// Runs a target and watches the processor time and the most memory that the input takes. Memory is known in builds with
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
// Of the sanitizer's runtime; not every compiler brings the header with it.
extern "C" int __sanitizer_install_malloc_and_free_hooks(void (*onTaken)(const volatile void*, std::size_t),
                                                         void (*onGiven)(const volatile void*));
extern "C" std::size_t __sanitizer_get_allocated_size(const volatile void* block);
#endif

namespace qbflv::fuzz {

namespace {

/// What no input may take, of the plug-in and its host together.
constexpr std::int64_t kMostMemory = 64 << 20;

/// In seconds of the processor: a machine that is busy with something else is no finding.
constexpr double kMostTime = 1;

std::int64_t live = 0;
std::int64_t peak = 0;

#ifdef QBFLV_HAS_HEAP_HOOKS
void OnTaken(const volatile void* /*block*/, std::size_t size) {
  live += static_cast<std::int64_t>(size);
  peak = std::max(peak, live);
}

void OnGiven(const volatile void* block) { live -= static_cast<std::int64_t>(__sanitizer_get_allocated_size(block)); }

const bool isWatching = __sanitizer_install_malloc_and_free_hooks(OnTaken, OnGiven) != 0;
#endif

}  // namespace

void RunBounded(Target target, Input input) {
  const std::int64_t before = live;
  peak = live;
  const std::clock_t begin = std::clock();
  target(input);
  const double seconds = static_cast<double>(std::clock() - begin) / CLOCKS_PER_SEC;
  Require(seconds <= kMostTime, "an input takes bounded time");
  Require(peak - before <= kMostMemory, "an input takes bounded memory");
}

}  // namespace qbflv::fuzz
