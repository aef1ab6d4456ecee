#include "plugin/index/stream_index_table.h"

#include <algorithm>

namespace qbflv {

Status CStreamIndexTable::Init(std::uint32_t granularity, std::uint32_t capacity, std::uint32_t extras) {
  Clear();
  m_ulCapacity = capacity;
  m_ulGranularity = granularity;
  if (capacity == 0) return kOk;

  m_pEntries = MakeUninitialisedArray<Entry>(capacity);
  if (m_pEntries == nullptr) {
    m_ulCapacity = 0;
    return kOutOfMemory;
  }
  if (extras == 0) return kOk;
  m_pExtras = MakeArray<std::uint64_t>(capacity);
  return m_pExtras == nullptr ? kOutOfMemory : kOk;
}

Status CStreamIndexTable::AddEntry(std::uint32_t time, std::uint32_t offset, std::uint64_t extra) {
  if (m_ulCount >= m_ulCapacity) return kFailed;
  // The first entry may have any time.
  if (m_ulCount > 0 && (time <= m_ulLastTime || time - m_ulLastTime < m_ulGranularity)) return kFailed;
  m_ulLastTime = time;
  m_ulHighestTime = std::max(m_ulHighestTime, time);
  m_pEntries[m_ulCount] = {time, offset};
  if (m_pExtras != nullptr) m_pExtras[m_ulCount] = extra;
  ++m_ulCount;
  return kOk;
}

Status CStreamIndexTable::Lookup(std::uint32_t* time, std::uint32_t* offset, std::uint64_t* extra) {
  if (m_ulCount == 0) return kFailed;
  const std::uint32_t wanted = *time;
  // Entries are at least m_ulGranularity apart, so no entry after this index can be at or before the wanted time.
  // Entries that were added under another granularity may be on either side, so the search goes both ways.
  std::uint32_t i = m_ulCount - 1;
  if (m_ulGranularity != 0) i = std::min(i, wanted / m_ulGranularity);
  while (i + 1 < m_ulCount && m_pEntries[i + 1].ulTime <= wanted) ++i;
  while (i > 0 && m_pEntries[i].ulTime > wanted) --i;
  if (m_pEntries[i].ulTime > wanted) return kFailed;

  *time = m_pEntries[i].ulTime;
  *offset = m_pEntries[i].ulOffset;
  if (m_pExtras != nullptr && extra != nullptr) *extra = m_pExtras[i];
  return m_ulHighestTime < wanted ? kBeyondSeen : kOk;
}

BOOL CStreamIndexTable::IsCovered(std::uint32_t time) { return time <= m_ulLastTime ? 1 : 0; }

Status CStreamIndexTable::LookupByOffset(std::uint32_t offset, std::uint32_t limit, std::uint32_t* time,
                                         std::uint32_t* foundOffset, std::uint32_t* beyondEnd) {
  if (offset > limit) return kInvalidArgument;
  if (m_ulCount == 0) {
    *time = 0;
    *foundOffset = 0;
    *beyondEnd = 1;
    return kFailed;
  }
  // A linear search, because offsets do not ascend if the file's key-frame list is wrong.
  std::uint32_t i = m_ulCount - 1;
  while (i > 0 && m_pEntries[i].ulOffset > offset) --i;
  *time = m_pEntries[i].ulTime;
  *foundOffset = m_pEntries[i].ulOffset;
  *beyondEnd = i == m_ulCount - 1 && m_pEntries[i].ulOffset < offset ? 1 : 0;
  return kOk;
}

void CStreamIndexTable::SetGranularity(std::uint32_t granularity) { m_ulGranularity = granularity; }

std::uint32_t CStreamIndexTable::NoteTime(std::uint32_t time) {
  m_ulHighestTime = std::max(m_ulHighestTime, time);
  return m_ulHighestTime;
}

void CStreamIndexTable::Clear() {
  m_pEntries = nullptr;
  m_pExtras = nullptr;
  m_ulCapacity = 0;
  m_ulGranularity = 0;
  m_ulCount = 0;
  m_ulLastTime = 0;
  m_ulHighestTime = 0;
}

}  // namespace qbflv
