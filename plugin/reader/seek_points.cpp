#include "plugin/reader/seek_points.h"

#include "plugin/index/index_sizing.h"
#include "plugin/util/owned.h"

namespace qbflv {

void CSeekPoints::Prepare(std::uint32_t streamCount, std::uint32_t duration) {
  m_ulStreamCount = streamCount;
  m_ulDuration = duration;
}

Status CSeekPoints::AddSeekPoint(std::uint32_t stream, std::uint32_t offset, std::uint32_t time, bool key) {
  if (stream >= m_ulStreamCount) return kFailed;
  if (!m_pIndexTable) {
    const Status status = CreateSeekIndex();
    if (Failed(status)) return status;
  }
  const auto number = static_cast<std::uint16_t>(stream);
  if (key) return m_pIndexTable->AddEntry(number, time, offset, 0);
  m_pIndexTable->NoteTime(number, time);
  return kOk;
}

Status CSeekPoints::Lookup(std::uint32_t stream, std::uint32_t& time, std::uint32_t& offset) {
  if (!m_pIndexTable) return kFailed;
  return m_pIndexTable->Lookup(static_cast<std::uint16_t>(stream), &time, &offset, nullptr);
}

Status CSeekPoints::CreateSeekIndex() {
  m_pIndexTable = MakeOwned<CFileIndexTable>();
  if (!m_pIndexTable) return kOutOfMemory;
  const IndexSizing sizing = SizeIndexFor(m_ulDuration);
  return m_pIndexTable->Init(static_cast<std::uint16_t>(m_ulStreamCount), sizing.granularity, sizing.capacity, 0);
}

}  // namespace qbflv
