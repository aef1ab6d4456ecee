// Memory pools for objects that the host creates for every packet.
#pragma once

#include <cstddef>
#include <memory>
#include <new>
#include <utility>

namespace qbflv::host {

/// Gives a final class operators new and delete that reuse freed blocks for later objects of the class. Each thread has
/// its own pool, so there is no lock. Disabled under a sanitizer, which otherwise would not detect a use after free,
/// and on Windows, where this compiler's thread-local destructors are unreliable.
template <typename Object>
class Pooled {
 public:
  static void* operator new(std::size_t size) {
    if constexpr (kMaxBlocks > 0) {
      Pool& pool = ThreadPool();
      if (pool.first != nullptr) {
        --pool.count;
        return std::exchange(pool.first, pool.first->next);
      }
    }
    return ::operator new(size);
  }

  static void operator delete(void* memory) noexcept {
    if constexpr (kMaxBlocks > 0) {
      Pool& pool = ThreadPool();
      if (pool.count < kMaxBlocks) {
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
      // Marks the pool as full, so that blocks freed on this thread from now on bypass it.
      count = kMaxBlocks;
      while (first != nullptr) ::operator delete(std::exchange(first, first->next));
    }

    Block* first = nullptr;
    std::size_t count = 0;
  };

#if defined(QBFLV_SANITIZED) || defined(_WIN32)
  static constexpr std::size_t kMaxBlocks = 0;
#else
  static constexpr std::size_t kMaxBlocks = 1024;
#endif

  static Pool& ThreadPool() {
    thread_local Pool pool;
    return pool;
  }
};

}  // namespace qbflv::host
