// The interface to the operating system; nothing else in the plug-in depends on it.
#pragma once

#include <atomic>
#include <cstddef>
#include <cstdint>

namespace qbflv::platform {

/// The heap operators of the host process.
enum class HeapOperator { kNew, kDelete, kNewArray, kDeleteArray };

/// Returns the address of the operator that the main program of the host process exports, or null.
[[nodiscard]] void* FindHostHeapOperator(HeapOperator which);

using Allocator = void* (*)(std::size_t);

/// Calls the host's allocator. Returns its result, or null if it throws anything.
[[nodiscard]] void* CallAllocator(Allocator function, std::size_t size);

/// Returns the position of the next character. A character has two bytes in a double-byte code page. REQUIRES: text
/// does not point to its NUL.
[[nodiscard]] const char* NextCharacter(const char* text);

/// Writes to the standard error stream.
void WriteStandardError(const char* text);

// Counters that several threads may change. The first two functions return the new value.

inline std::int32_t AtomicIncrement(std::int32_t& count) { return std::atomic_ref(count).fetch_add(1) + 1; }
inline std::int32_t AtomicDecrement(std::int32_t& count) { return std::atomic_ref(count).fetch_sub(1) - 1; }
[[nodiscard]] inline std::int32_t AtomicLoad(const std::int32_t& count) {
  // References to const need a later standard.
  return std::atomic_ref(const_cast<std::int32_t&>(count)).load(std::memory_order_acquire);
}

}  // namespace qbflv::platform
