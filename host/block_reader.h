// Reads a byte source in large blocks and returns slices of them. Bytes that are already in memory are one block.
#pragma once

#include <cstdint>
#include <functional>
#include <memory>

#include "flv/byte_source.h"
#include "plugin/shell/host_interfaces.h"

namespace qbflv::host {

/// Part of a block. bytes keeps the whole block alive.
struct Slice {
  std::shared_ptr<std::uint8_t[]> bytes;
  std::uint32_t size = 0;
};

class BlockReader {
 public:
  /// Called after each block read, with the requested offset and the source's size in bytes. Must not throw.
  using Observer = std::function<void(std::uint64_t offset, std::uint64_t fileSize)>;

  explicit BlockReader(std::shared_ptr<const flv::ByteSource> source, Observer observer = nullptr);

  /// Stores the bytes at offset in slice: fewer than count at the end of the source, none past it. Throws
  /// std::bad_alloc.
  Status Read(std::uint64_t offset, std::uint32_t count, Slice& slice);

  /// Prefetches the bytes at offset into the processor's cache if they are in the current block.
  void FetchAhead(std::uint64_t offset) const;

  /// Returns the current size of the source in bytes, or 0 if it is unknown.
  std::uint64_t SourceSize() const { return m_source->Size(); }

  std::uint64_t BlocksRead() const { return m_blocksRead; }

 private:
  /// Uses the bytes that the source already has in memory as the block. Returns false if it does not have `count` bytes
  /// at offset.
  bool ShareBlock(std::uint64_t offset, std::uint32_t count);
  Status ReadBlock(std::uint64_t offset, std::uint32_t count);
  std::uint64_t BlockStart(std::uint64_t offset, std::uint32_t count) const;

  // What a read inside the current block needs comes first.
  std::shared_ptr<std::uint8_t[]> m_block;
  std::uint64_t m_blockOffset = 0;
  std::uint64_t m_blockSize = 0;
  std::shared_ptr<const flv::ByteSource> m_source;
  Observer m_observer;
  std::uint64_t m_blocksRead = 0;
};

}  // namespace qbflv::host
