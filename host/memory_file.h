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

/// Throws HostError.
MemoryFile ReadIntoMemory(const std::filesystem::path& path);

}  // namespace qbflv::host
