// A cache of layouts: files that were opened recently can be opened again without a pass.
#include "flv/view_cache.h"

#include <algorithm>
#include <utility>

namespace qbflv::flv {

namespace {

/// Size in bytes up to which layouts are made even if the cache is smaller: that of about 16 hours of film.
constexpr std::size_t kLeastLimit = 16 * 1024 * 1024;

}  // namespace

std::shared_ptr<const ViewLayout> MakeLayout(const ByteSource& source, const ViewOptions& options,
                                             const ScanOptions& scan) {
  std::shared_ptr<const FileFacts> facts = ScanFile(source, scan);
  if (!facts || !facts->isFlv) return nullptr;
  return std::make_shared<ViewLayout>(std::move(facts), options);
}

std::shared_ptr<const ViewLayout> ViewCache::Get(const FileSource& file, const ViewOptions& options, ScanOptions scan) {
  scan.mostBytes = std::max(m_mostBytes, kLeastLimit);
  FileIdentity identity;
  FileKind kind{};
  const bool isKnown = file.GetIdentity(identity, kind) && kind == FileKind::kRegular;
  if (!isKnown) return MakeLayout(file, options, scan);
  if (auto layout = Find(identity, options)) return layout;
  auto layout = MakeLayout(file, options, scan);
  // Do not cache the layout if the pass did not reach the end, or the file was modified during it.
  FileIdentity after;
  const bool isSteady = layout && layout->Facts().IsWhole() && file.GetIdentity(after, kind) && after == identity;
  if (isSteady) Keep({identity, options, layout, layout->MemoryUse()});
  return layout;
}

std::shared_ptr<const ViewLayout> ViewCache::Find(const FileSource& file, const ViewOptions& options) {
  FileIdentity identity;
  FileKind kind{};
  if (!file.GetIdentity(identity, kind) || kind != FileKind::kRegular) return nullptr;
  return Find(identity, options);
}

std::size_t ViewCache::MemoryUse() const {
  const std::lock_guard lock(m_mutex);
  return m_bytes;
}

std::shared_ptr<const ViewLayout> ViewCache::Find(const FileIdentity& file, const ViewOptions& options) {
  const std::lock_guard lock(m_mutex);
  const auto found = std::ranges::find_if(
      m_entries, [&](const Entry& entry) { return entry.file == file && entry.options == options; });
  if (found == m_entries.end()) return nullptr;
  m_entries.splice(m_entries.begin(), m_entries, found);
  return found->layout;
}

void ViewCache::Keep(Entry entry) {
  if (entry.size > m_mostBytes) return;
  std::list<Entry> removed;  // destroyed after the mutex is unlocked
  const std::lock_guard lock(m_mutex);
  // Remove the layouts of earlier states of the file, which will not be requested again.
  for (auto old = m_entries.begin(); old != m_entries.end();) {
    const auto here = old++;
    const bool isOlder = here->file.device == entry.file.device && here->file.inode == entry.file.inode &&
                         (here->file != entry.file || here->options == entry.options);
    if (!isOlder) continue;
    m_bytes -= here->size;
    removed.splice(removed.end(), m_entries, here);
  }
  m_bytes += entry.size;
  m_entries.push_front(std::move(entry));
  while (m_bytes > m_mostBytes) {
    m_bytes -= m_entries.back().size;
    removed.splice(removed.end(), m_entries, std::prev(m_entries.end()));
  }
}

}  // namespace qbflv::flv
