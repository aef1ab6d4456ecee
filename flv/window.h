// A sliding window over a byte source, for sequential reads of a few bytes each.
#pragma once

#include <algorithm>
#include <cstdint>
#include <memory>
#include <span>

#include "flv/byte_source.h"

namespace qbflv::flv {

class Window {
 public:
  /// size: number of bytes per read of the source, and maximum for Get. REQUIRES: source outlives this object.
  Window(const ByteSource& source, std::size_t size) : m_source(source), m_size(size) {}

  /// Returns the bytes at offset, fewer than count only at the end of the source or after a failed read. The bytes are
  /// valid until the next call.
  std::span<const std::uint8_t> Get(std::uint64_t offset, std::size_t count) {
    if (offset < m_begin || offset - m_begin > m_bytes.size() || m_bytes.size() - (offset - m_begin) < count) {
      Move(offset);
    }
    const auto rest = m_bytes.subspan(static_cast<std::size_t>(offset - m_begin));
    return rest.first(std::min(count, rest.size()));
  }

  /// Returns true if a read failed.
  bool HasFailed() const { return m_failed; }

 private:
  /// Moves the window to begin at offset.
  void Move(std::uint64_t offset);

  const ByteSource& m_source;
  const std::size_t m_size;
  std::unique_ptr<std::uint8_t[]> m_buffer;
  /// Used instead of m_buffer if the source has its bytes in memory.
  SharedBytes m_shared;
  std::span<const std::uint8_t> m_bytes;
  std::uint64_t m_begin = 0;
  bool m_failed = false;
};

}  // namespace qbflv::flv
