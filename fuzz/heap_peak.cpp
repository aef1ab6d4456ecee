#include "fuzz/heap_peak.h"

#include <algorithm>
#include <cstddef>

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

HeapPeak::HeapPeak() : m_before(live) { peak = live; }

std::int64_t HeapPeak::Taken() const { return peak - m_before; }

}  // namespace qbflv::fuzz
