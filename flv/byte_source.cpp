// Random access to the bytes of a file: the source in memory.
#include "flv/byte_source.h"

#include <algorithm>
#include <cstring>

namespace qbflv::flv {

std::int64_t MemorySource::ReadAt(std::uint64_t offset, std::span<std::uint8_t> bytes) const {
  if (offset >= m_memory.size || bytes.empty()) return 0;
  const std::uint64_t count = std::min<std::uint64_t>(bytes.size(), m_memory.size - offset);
  std::memcpy(bytes.data(), m_memory.bytes.get() + offset, static_cast<std::size_t>(count));
  return static_cast<std::int64_t>(count);
}

SharedBytes MemorySource::Share(std::uint64_t offset) const {
  if (offset >= m_memory.size) return {};
  return {{m_memory.bytes, m_memory.bytes.get() + offset}, m_memory.size - offset};
}

}  // namespace qbflv::flv
