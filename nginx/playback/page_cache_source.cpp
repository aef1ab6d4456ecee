// Reads only what the system has in memory.
#include "nginx/playback/page_cache_source.h"

#include <sys/uio.h>

namespace qbflv::server {

std::int64_t PageCacheSource::ReadAt(std::uint64_t offset, std::span<std::uint8_t> bytes) const {
  std::size_t filled = 0;
  while (filled < bytes.size()) {
    const iovec part{bytes.data() + filled, bytes.size() - filled};
    const ssize_t got = preadv2(m_file->Descriptor(), &part, 1, static_cast<off_t>(offset + filled), RWF_NOWAIT);
    if (got < 0) return kReadFailed;
    if (got == 0) break;
    filled += static_cast<std::size_t>(got);
  }
  return static_cast<std::int64_t>(filled);
}

}  // namespace qbflv::server
