// The one seam to the operating system.
#pragma once

#include <atomic>
#include <cstddef>
#include <cstdint>

namespace qbflv::platform {

/// The four heap operators that the host process offers.
enum class HeapOperator { kNew, kDelete, kNewArray, kDeleteArray };

/// The address of the operator that the host process's main program exports, or null.
[[nodiscard]] void* FindHostHeapOperator(HeapOperator which);

using Allocator = void* (*)(std::size_t);

/// What the host's allocator answers, or null when it throws, whatever that is.
[[nodiscard]] void* CallAllocator(Allocator function, std::size_t size);

/// The character after the one at text, stepping over both bytes of a character of a double-byte code page. text must
/// not stand at its NUL.
[[nodiscard]] const char* NextCharacter(const char* text);

/// Writes to the standard error stream.
void WriteStandardError(const char* text);

/// Counts that several threads may change. The first two answer the new value.
inline std::int32_t AtomicIncrement(std::int32_t& count) { return std::atomic_ref(count).fetch_add(1) + 1; }
inline std::int32_t AtomicDecrement(std::int32_t& count) { return std::atomic_ref(count).fetch_sub(1) - 1; }
[[nodiscard]] inline std::int32_t AtomicLoad(const std::int32_t& count) {
  return __atomic_load_n(&count, __ATOMIC_ACQUIRE);
}

}  // namespace qbflv::platform
