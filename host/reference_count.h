// The reference count of a host object.
#pragma once

#include <atomic>
#include <cstdint>

#if __has_include(<sys/single_threaded.h>)
#include <sys/single_threaded.h>
#endif

namespace qbflv::host {

/// Starts at 1. Thread-safe. Avoids atomic read-modify-write operations while the C library reports that the process
/// has one thread.
class ReferenceCount {
 public:
  /// From now on only one thread counts references to host objects, although the process may have more.
  static void UseOneThread() { s_isOneThread = true; }

  /// Both return the new count.
  std::uint32_t Increment() {
    if (!IsShared()) return Set(Load() + 1);
    return m_count.fetch_add(1, std::memory_order_relaxed) + 1;
  }
  std::uint32_t Decrement() {
    if (!IsShared()) return Set(Load() - 1);
    return m_count.fetch_sub(1, std::memory_order_acq_rel) - 1;
  }

 private:
  static bool IsShared() {
    if (s_isOneThread) return false;
#if __has_include(<sys/single_threaded.h>)
    return __libc_single_threaded == 0;
#else
    return true;
#endif
  }

  std::uint32_t Load() const { return m_count.load(std::memory_order_relaxed); }
  std::uint32_t Set(std::uint32_t count) {
    m_count.store(count, std::memory_order_relaxed);
    return count;
  }

  static inline bool s_isOneThread = false;
  std::atomic<std::uint32_t> m_count{1};
};

}  // namespace qbflv::host
