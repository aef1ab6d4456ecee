// A cache of layouts: files that were opened recently can be opened again without a pass.
#pragma once

#include <cstddef>
#include <cstdint>
#include <list>
#include <memory>
#include <mutex>

#include "flv/file_source.h"
#include "flv/scan.h"
#include "flv/view_layout.h"

namespace qbflv::flv {

/// Does the pass and makes the layout. Returns null if the file is not an FLV file, or if the pass was cancelled.
std::shared_ptr<const ViewLayout> MakeLayout(const ByteSource& source, const ViewOptions& options,
                                             const ScanOptions& scan = {});

/// Several threads may use one cache at the same time.
class ViewCache {
 public:
  /// mostBytes: approximate limit for the memory of all layouts. The cache removes the least recently used ones.
  explicit ViewCache(std::size_t mostBytes) : m_mostBytes(mostBytes) {}

  /// Returns the cached layout if the file was not modified since; otherwise makes one and caches it. Null as in
  /// MakeLayout. Two threads that request the same file at the same time may both do the pass.
  /// A layout that is larger than the cache would be made for each session. Above 16 MiB the pass ends early instead,
  /// with FileFacts::isTooComplex. scan.mostBytes: ignored.
  std::shared_ptr<const ViewLayout> Get(const FileSource& file, const ViewOptions& options, ScanOptions scan = {});

  /// Returns the cached layout, or null if Get would do the pass.
  std::shared_ptr<const ViewLayout> Find(const FileSource& file, const ViewOptions& options);

  /// Returns the approximate memory use of all layouts in bytes.
  std::size_t MemoryUse() const;

 private:
  struct Entry {
    FileIdentity file;
    ViewOptions options;
    std::shared_ptr<const ViewLayout> layout;
    std::size_t size;
  };

  std::shared_ptr<const ViewLayout> Find(const FileIdentity& file, const ViewOptions& options);
  void Keep(Entry entry);

  const std::size_t m_mostBytes;
  mutable std::mutex m_mutex;
  /// Most recently used first.
  std::list<Entry> m_entries;
  std::size_t m_bytes = 0;
};

}  // namespace qbflv::flv
