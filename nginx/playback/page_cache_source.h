// Reads only what the system has in memory.
#pragma once

#include <memory>

#include "flv/file_source.h"

namespace qbflv::server {

/// A read that would wait for the disk fails instead, so that an event loop may read through this.
class PageCacheSource final : public flv::ByteSource {
 public:
  explicit PageCacheSource(std::shared_ptr<const flv::FileSource> file) : m_file(std::move(file)) {}

  /// kReadFailed if not all of the bytes are in memory, or the file system cannot tell.
  std::int64_t ReadAt(std::uint64_t offset, std::span<std::uint8_t> bytes) const override;
  std::uint64_t Size() const override { return m_file->Size(); }

 private:
  const std::shared_ptr<const flv::FileSource> m_file;
};

}  // namespace qbflv::server
