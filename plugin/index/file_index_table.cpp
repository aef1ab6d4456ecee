#include "plugin/index/file_index_table.h"

namespace qbflv {

Status CFileIndexTable::Init(std::uint16_t streams, std::uint32_t granularity, std::uint32_t capacity,
                             std::uint32_t extras) {
  Clear();
  m_pStreamTables = MakeArray<CStreamIndexTable>(streams);
  if (m_pStreamTables == nullptr) return kOutOfMemory;
  m_uStreamCount = streams;
  for (std::uint16_t i = 0; i < streams; ++i) {
    const Status status = m_pStreamTables[i].Init(granularity, capacity, extras);
    if (Failed(status)) return status;
  }
  return kOk;
}

Status CFileIndexTable::AddEntry(std::uint16_t stream, std::uint32_t time, std::uint32_t offset, std::uint64_t extra) {
  if (stream >= m_uStreamCount) return kFailed;
  return m_pStreamTables[stream].AddEntry(time, offset, extra);
}

Status CFileIndexTable::Lookup(std::uint16_t stream, std::uint32_t* time, std::uint32_t* offset, std::uint64_t* extra) {
  if (stream >= m_uStreamCount) return kFailed;
  return m_pStreamTables[stream].Lookup(time, offset, extra);
}

BOOL CFileIndexTable::IsCovered(std::uint16_t stream, std::uint32_t time) {
  if (stream >= m_uStreamCount) return 0;
  return m_pStreamTables[stream].IsCovered(time);
}

Status CFileIndexTable::LookupByOffset(std::uint16_t stream, std::uint32_t offset, std::uint32_t limit,
                                       std::uint32_t* time, std::uint32_t* foundOffset, std::uint32_t* beyondEnd) {
  if (stream >= m_uStreamCount) return kFailed;
  return m_pStreamTables[stream].LookupByOffset(offset, limit, time, foundOffset, beyondEnd);
}

void CFileIndexTable::SetGranularity(std::uint32_t granularity) {
  for (std::uint16_t i = 0; i < m_uStreamCount; ++i) m_pStreamTables[i].SetGranularity(granularity);
}

void CFileIndexTable::NoteTime(std::uint16_t stream, std::uint32_t time) {
  if (stream < m_uStreamCount) m_pStreamTables[stream].NoteTime(time);
}

void CFileIndexTable::Clear() {
  m_pStreamTables = nullptr;
  m_uStreamCount = 0;
}

}  // namespace qbflv
