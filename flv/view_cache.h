// Keeps the layouts of files that were opened lately, so that their next sessions need no pass.
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

/// Makes the layout of a file. Null if it is not an FLV file, or the pass was given up.
std::shared_ptr<const ViewLayout> MakeLayout(const ByteSource& source, const ViewOptions& options,
                                             const ScanOptions& scan = {});

/// May be used by several threads at once.
class ViewCache {
 public:
  /// mostBytes: what the layouts take together, roughly; those that were not used the longest go.
  explicit ViewCache(std::size_t mostBytes) : m_mostBytes(mostBytes) {}

  /// As MakeLayout, but takes what an earlier call made if the file is the same and has not changed. Two threads that
  /// ask at once for a file that is not here both do the pass.
  std::shared_ptr<const ViewLayout> Get(const FileSource& file, const ViewOptions& options);

  /// The layout if it is here. Null means that Get would do the pass.
  std::shared_ptr<const ViewLayout> Find(const FileSource& file, const ViewOptions& options);

  /// What the layouts take together, in bytes.
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
  /// The one used last comes first.
  std::list<Entry> m_entries;
  std::size_t m_bytes = 0;
};

}  // namespace qbflv::flv
