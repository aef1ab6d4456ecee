// Binds the library's heap to the host process: every block is taken and given back through the heap operators that the
// main program exports.
#pragma once

#include <cstddef>

namespace qbflv {

// Each finds the host's operator on its first use; while it cannot be found, every call writes a message to standard
// error and looks again. Nothing is thrown: a host operator that throws counts as one that has no memory left.

/// Null when the operator cannot be found or has no memory left.
[[nodiscard]] void* HostNew(std::size_t size) noexcept;
[[nodiscard]] void* HostNewArray(std::size_t size) noexcept;

/// Without the operator the block is not freed.
void HostDelete(void* block) noexcept;
void HostDeleteArray(void* block) noexcept;

}  // namespace qbflv
