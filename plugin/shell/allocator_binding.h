// Binds the library's heap to the host process: all memory is allocated and freed through the heap operators that the
// main program exports.
#pragma once

#include <cstddef>

namespace qbflv {

// Each function looks its host operator up on first use. As long as the lookup fails, every call writes a message to
// standard error and tries again. An exception of the host's operator counts as an allocation failure.

/// Returns null if the operator is not found or on allocation failure.
[[nodiscard]] void* HostNew(std::size_t size) noexcept;
[[nodiscard]] void* HostNewArray(std::size_t size) noexcept;

/// Does not free the block if the operator is not found.
void HostDelete(void* block) noexcept;
void HostDeleteArray(void* block) noexcept;

}  // namespace qbflv
