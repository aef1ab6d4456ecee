// A file's bytes in memory, shared by all that read it.
#pragma once

#include <cstdint>
#include <filesystem>
#include <memory>

#include "host/block_reader.h"

namespace qbflv::host {

struct MemoryFile {
  std::shared_ptr<std::uint8_t[]> bytes;
  std::uint64_t size = 0;

  BlockReader Open() const { return {bytes, size}; }
};

/// Room for a file's bytes, which are not set. A large one takes large pages where the system has them: a reader that
/// goes from tag header to tag header would else wait for the page tables nearly as often as for the bytes.
MemoryFile MakeMemoryFile(std::uint64_t size);

/// Throws HostError.
MemoryFile ReadIntoMemory(const std::filesystem::path& path);

}  // namespace qbflv::host
