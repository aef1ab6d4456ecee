// Memory pools for objects that a host creates for every packet.
#pragma once

#include <cstddef>
#include <memory>
#include <new>
#include <utility>

namespace qbflv::host {

/// Gives a final class operators new and delete that reuse freed blocks for the next object of that class, for each
/// thread separately and without a lock. Disabled under a sanitizer, so that it detects a use after free, and on
/// Windows, where thread-local destructors are unreliable with this compiler.
template <typename Object>
class Pooled {
 public:
  static void* operator new(std::size_t size) {
    if constexpr (kMostKept > 0) {
      Pool& pool = ThreadPool();
      if (pool.first != nullptr) {
        --pool.count;
        return std::exchange(pool.first, pool.first->next);
      }
    }
    return ::operator new(size);
  }

  static void operator delete(void* memory) noexcept {
    if constexpr (kMostKept > 0) {
      Pool& pool = ThreadPool();
      if (pool.count < kMostKept) {
        pool.first = new (memory) Block{pool.first};
        ++pool.count;
        return;
      }
    }
    ::operator delete(memory);
  }

 private:
  struct Block {
    Block* next;
  };

  struct Pool {
    Pool() = default;
    Pool(const Pool&) = delete;
    Pool& operator=(const Pool&) = delete;
    ~Pool() {
      // A full pool: blocks freed on this thread from now on bypass it.
      count = kMostKept;
      while (first != nullptr) ::operator delete(std::exchange(first, first->next));
    }

    Block* first = nullptr;
    std::size_t count = 0;
  };

#if defined(QBFLV_SANITIZED) || defined(_WIN32)
  static constexpr std::size_t kMostKept = 0;
#else
  static constexpr std::size_t kMostKept = 1024;
#endif

  static Pool& ThreadPool() {
    thread_local Pool pool;
    return pool;
  }
};

}  // namespace qbflv::host
