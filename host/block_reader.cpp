// Reads a byte source in large blocks and returns slices of them. Bytes that are already in memory are one block.
#include "host/block_reader.h"

#include <algorithm>
#include <utility>

namespace qbflv::host {

namespace {

/// Block size in bytes. Large enough to make the cost of system calls negligible; small enough that a packet, which
/// keeps its whole block in memory, wastes little.
constexpr std::uint64_t kBlockSize = 256 * 1024;

}  // namespace

BlockReader::BlockReader(std::shared_ptr<const flv::ByteSource> source, Observer observer)
    : m_source(std::move(source)), m_observer(std::move(observer)) {}

Status BlockReader::Read(std::uint64_t offset, std::uint32_t count, Slice& slice) {
  slice = {};
  if (count == 0) return kOk;
  const bool inBlock = offset >= m_blockOffset && offset + count <= m_blockOffset + m_blockSize;
  if (!inBlock && !ShareBlock(offset, count)) {
    const Status status = ReadBlock(offset, count);
    if (Failed(status)) return status;
  }
  const std::uint64_t before = offset - m_blockOffset;
  if (before >= m_blockSize) return kOk;
  slice.size = static_cast<std::uint32_t>(std::min<std::uint64_t>(count, m_blockSize - before));
  slice.bytes = std::shared_ptr<std::uint8_t[]>(m_block, m_block.get() + before);
  FetchAhead(offset + slice.size);  // most files are read sequentially
  return kOk;
}

void BlockReader::FetchAhead(std::uint64_t offset) const {
  if (offset < m_blockOffset || offset - m_blockOffset >= m_blockSize) return;
  const std::uint64_t begin = offset - m_blockOffset;
  // The next read is small but may span two cache lines.
  constexpr std::uint64_t kSmallRead = 15;
  __builtin_prefetch(m_block.get() + begin);
  __builtin_prefetch(m_block.get() + std::min(begin + kSmallRead, m_blockSize - 1));
}

bool BlockReader::ShareBlock(std::uint64_t offset, std::uint32_t count) {
  flv::SharedBytes shared = m_source->Share(offset);
  if (shared.size < count) return false;
  m_block = std::move(shared.bytes);
  m_blockOffset = offset;
  m_blockSize = shared.size;
  return true;
}

/// A read just before the current block is part of a backward walk. The new block then ends with the requested bytes,
/// so that it also contains the next read of the walk. Any other block starts with the requested bytes.
std::uint64_t BlockReader::BlockStart(std::uint64_t offset, std::uint32_t count) const {
  const std::uint64_t end = offset + count;
  const bool walksBack = offset < m_blockOffset && end + kBlockSize > m_blockOffset && count < kBlockSize;
  if (!walksBack) return offset;
  return end > kBlockSize ? end - kBlockSize : 0;
}

Status BlockReader::ReadBlock(std::uint64_t offset, std::uint32_t count) {
  // The count comes from the file and may be wrong, so allocate no more than the source has.
  const std::uint64_t sourceSize = SourceSize();
  const std::uint64_t start = BlockStart(offset, count);
  const std::uint64_t wanted = std::max<std::uint64_t>(kBlockSize, offset - start + count);
  const std::uint64_t size = start < sourceSize ? std::min(wanted, sourceSize - start) : 0;

  auto block = std::make_shared_for_overwrite<std::uint8_t[]>(size);
  const std::int64_t got = m_source->ReadAt(start, {block.get(), static_cast<std::size_t>(size)});
  if (got < 0) return kFailed;
  m_block = std::move(block);
  m_blockOffset = start;
  m_blockSize = static_cast<std::uint64_t>(got);
  ++m_blocksRead;
  if (m_observer) m_observer(offset, sourceSize);
  return kOk;
}

}  // namespace qbflv::host
