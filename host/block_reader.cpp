// Reads a file in large blocks and answers small reads with slices of them.
#include "host/block_reader.h"

#include <algorithm>
#include <cerrno>
#include <utility>

#include "host/system.h"

namespace qbflv::host {

namespace {

/// Bytes. Large enough that system calls do not count, small enough that a packet kept by somebody, and with it its
/// block, is no burden.
constexpr std::uint64_t kBlockSize = 256 * 1024;

}  // namespace

BlockReader::BlockReader(FileDescriptor file, Observer observer)
    : m_file(std::move(file)), m_observer(std::move(observer)) {}

BlockReader::BlockReader(std::shared_ptr<std::uint8_t[]> bytes, std::uint64_t size)
    : m_block(std::move(bytes)), m_blockSize(size) {}

Status BlockReader::Read(std::uint64_t offset, std::uint32_t count, Slice& slice) {
  slice = {};
  if (count == 0) return kOk;
  const bool inBlock = offset >= m_blockOffset && offset + count <= m_blockOffset + m_blockSize;
  if (!inBlock && m_file.IsOpen()) {
    const Status status = ReadBlock(offset, count);
    if (Failed(status)) return status;
  }
  const std::uint64_t before = offset - m_blockOffset;
  if (before >= m_blockSize) return kOk;
  slice.size = static_cast<std::uint32_t>(std::min<std::uint64_t>(count, m_blockSize - before));
  slice.bytes = std::shared_ptr<std::uint8_t[]>(m_block, m_block.get() + before);
  FetchAhead(offset + slice.size);  // most files are read from front to back
  return kOk;
}

void BlockReader::FetchAhead(std::uint64_t offset) const {
  if (offset < m_blockOffset || offset - m_blockOffset >= m_blockSize) return;
  const std::uint64_t begin = offset - m_blockOffset;
  // What is asked for is small, but may lie across two lines of the cache.
  constexpr std::uint64_t kSmallRead = 15;
  __builtin_prefetch(m_block.get() + begin);
  __builtin_prefetch(m_block.get() + std::min(begin + kSmallRead, m_blockSize - 1));
}

std::uint64_t BlockReader::FileSize() const {
  if (!m_file.IsOpen()) return m_blockSize;
  system::FileStatus status;
  return system::GetStatus(m_file.Number(), status) ? status.size : 0;
}

/// Whoever asks for bytes just before the block in hand walks back through the file: the block then ends with what is
/// asked for, so that the next step back is in it. Otherwise it starts there.
std::uint64_t BlockReader::BlockStart(std::uint64_t offset, std::uint32_t count) const {
  const std::uint64_t end = offset + count;
  const bool walksBack = offset < m_blockOffset && end + kBlockSize > m_blockOffset && count < kBlockSize;
  if (!walksBack) return offset;
  return end > kBlockSize ? end - kBlockSize : 0;
}

Status BlockReader::ReadBlock(std::uint64_t offset, std::uint32_t count) {
  // A count is only a claim: no more is taken than the file has. A file that is cut off meanwhile ends the loop early.
  const std::uint64_t fileSize = FileSize();
  const std::uint64_t start = BlockStart(offset, count);
  const std::uint64_t wanted = std::max<std::uint64_t>(kBlockSize, offset - start + count);
  const std::uint64_t size = start < fileSize ? std::min(wanted, fileSize - start) : 0;

  auto block = std::make_shared_for_overwrite<std::uint8_t[]>(size);
  std::uint64_t filled = 0;
  while (filled < size) {
    const std::int64_t got = system::ReadAt(m_file.Number(), start + filled, {block.get() + filled, size - filled});
    if (got < 0 && errno == EINTR) continue;
    if (got < 0) return kFailed;
    if (got == 0) break;
    filled += static_cast<std::uint64_t>(got);
  }
  m_block = std::move(block);
  m_blockOffset = start;
  m_blockSize = filled;
  ++m_blocksRead;
  if (m_observer) m_observer(offset, fileSize);
  return kOk;
}

}  // namespace qbflv::host
