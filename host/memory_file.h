// A file's bytes in memory, shared by all readers.
#pragma once

#include <cstdint>
#include <filesystem>
#include <memory>

#include "host/block_reader.h"

namespace qbflv::host {

struct MemoryFile {
  std::shared_ptr<std::uint8_t[]> bytes;
  std::uint64_t size = 0;

  BlockReader Open() const { return BlockReader(Source()); }
  std::shared_ptr<const flv::ByteSource> Source() const {
    return std::make_shared<flv::MemorySource>(flv::SharedBytes{bytes, size});
  }
};

/// Allocates memory for a file's bytes without initialising it. Asks for large pages: a reader that jumps from tag
/// header to tag header otherwise misses the page-table cache nearly as often as the data cache.
MemoryFile MakeMemoryFile(std::uint64_t size);

/// Reads a whole file. Throws HostError.
MemoryFile ReadIntoMemory(const std::filesystem::path& path);

}  // namespace qbflv::host
