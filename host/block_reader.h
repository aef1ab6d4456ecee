// Reads a file in large blocks and answers small reads with slices of them. A file that is in memory already is one
// block.
#pragma once

#include <cstdint>
#include <functional>
#include <memory>

#include "host/file_descriptor.h"
#include "plugin/shell/host_interfaces.h"

namespace qbflv::host {

/// Bytes that keep the block alive of which they are a part.
struct Slice {
  std::shared_ptr<std::uint8_t[]> bytes;
  std::uint32_t size = 0;
};

class BlockReader {
 public:
  /// Told the offset that was read and the file's size, both in bytes, whenever a block is read. Must not throw.
  using Observer = std::function<void(std::uint64_t offset, std::uint64_t fileSize)>;

  BlockReader(FileDescriptor file, Observer observer);
  /// Over bytes in memory, which are shared with whoever else holds them and must not change.
  BlockReader(std::shared_ptr<std::uint8_t[]> bytes, std::uint64_t size);

  /// The bytes at offset, fewer than count (also none) where the file ends. Throws std::bad_alloc.
  Status Read(std::uint64_t offset, std::uint32_t count, Slice& slice);

  /// The bytes at offset will be asked for soon: if they are at hand, they come into the cache meanwhile.
  void FetchAhead(std::uint64_t offset) const;

  /// The file's size as it is now, or 0 if it cannot be told.
  std::uint64_t FileSize() const;

  std::uint64_t BlocksRead() const { return m_blocksRead; }

 private:
  Status ReadBlock(std::uint64_t offset, std::uint32_t count);
  std::uint64_t BlockStart(std::uint64_t offset, std::uint32_t count) const;

  FileDescriptor m_file;
  Observer m_observer;
  std::shared_ptr<std::uint8_t[]> m_block;
  std::uint64_t m_blockOffset = 0;
  std::uint64_t m_blockSize = 0;
  std::uint64_t m_blocksRead = 0;
};

}  // namespace qbflv::host
