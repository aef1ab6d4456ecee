// Memory for the objects of which a host makes two or three for every packet.
#pragma once

#include <cstddef>
#include <memory>
#include <new>

namespace qbflv::host {

/// Gives a final class operators new and delete that keep freed blocks for the next object of that class, on the same
/// thread and without a lock. Under a sanitizer memory is not kept, so that a use after the end is seen.
template <typename Object>
class Pooled {
 public:
  static void* operator new(std::size_t size) {
    Pool& pool = ThreadPool();
    if (pool.first == nullptr) return ::operator new(size);
    Block* const block = pool.first;
    pool.first = block->next;
    --pool.count;
    return block;
  }

  static void operator delete(void* memory) noexcept {
    Pool& pool = ThreadPool();
    if (pool.count >= kMostKept) return ::operator delete(memory);
    pool.first = new (memory) Block{pool.first};
    ++pool.count;
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
      // What is freed on this thread from now on goes straight back.
      count = kMostKept;
      while (first != nullptr) ::operator delete(std::exchange(first, first->next));
    }

    Block* first = nullptr;
    std::size_t count = 0;
  };

#if defined(__SANITIZE_ADDRESS__) || defined(__SANITIZE_THREAD__)
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
