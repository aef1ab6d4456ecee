// A sliding window over a byte source, for sequential reads of a few bytes each.
#include "flv/window.h"

namespace qbflv::flv {

void Window::Move(std::uint64_t offset) {
  m_begin = offset;
  m_shared = m_source.Share(offset);
  if (m_shared.size >= m_size) {
    m_bytes = {m_shared.bytes.get(), static_cast<std::size_t>(m_shared.size)};
    return;
  }
  if (!m_buffer) m_buffer = std::make_unique_for_overwrite<std::uint8_t[]>(m_size);
  const std::int64_t got = m_source.ReadAt(offset, {m_buffer.get(), m_size});
  if (got < 0) m_failed = true;
  m_bytes = {m_buffer.get(), static_cast<std::size_t>(std::max<std::int64_t>(got, 0))};
}

}  // namespace qbflv::flv
