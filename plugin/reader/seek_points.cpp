#include "plugin/reader/seek_points.h"

#include "plugin/index/index_sizing.h"

namespace qbflv {

void CSeekPoints::Prepare(std::uint32_t streamCount, std::uint32_t duration) {
  m_ulStreamCount = streamCount;
  m_ulDuration = duration;
}

void CSeekPoints::AddSeekPoint(std::uint32_t stream, std::uint32_t offset, std::uint32_t time, bool key) {
  if (!m_bIndexMade) MakeIndex();
  const auto number = static_cast<std::uint16_t>(stream);
  if (key) {
    m_Index.AddEntry(number, time, offset, 0);
  } else {
    m_Index.NoteTime(number, time);
  }
}

Status CSeekPoints::Lookup(std::uint32_t stream, std::uint32_t& time, std::uint32_t& offset) {
  return m_Index.Lookup(static_cast<std::uint16_t>(stream), &time, &offset, nullptr);
}

/// Once, also on allocation failure: a stream without a table takes no positions.
void CSeekPoints::MakeIndex() {
  m_bIndexMade = true;
  const IndexSizing sizing = SizeIndexFor(m_ulDuration);
  m_Index.Init(static_cast<std::uint16_t>(m_ulStreamCount), sizing.granularity, sizing.capacity, 0);
}

}  // namespace qbflv
