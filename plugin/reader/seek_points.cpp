// How positions enter the seek index.
#include "plugin/index/index_sizing.h"
#include "plugin/reader/file_format.h"

namespace qbflv {

namespace {

/// A file of unknown duration is taken as one hour long.
constexpr std::uint32_t kAssumedDuration = 3600000;

}  // namespace

Status CQBFLVFileFormat::CreateSeekIndex() {
  m_pIndexTable = MakeOwned<CFileIndexTable>();
  if (!m_pIndexTable) return kOutOfMemory;

  std::uint32_t duration = kAssumedDuration;
  if (m_bAudioDurationKnown || m_bLastVideoTimeKnown) {
    const std::uint32_t audio = m_bAudioDurationKnown ? m_ulAudioDuration : 0;
    const std::uint32_t video = m_bLastVideoTimeKnown ? m_ulLastVideoTime : 0;
    duration = audio > video ? audio : video;
  } else if (m_bMetaDurationKnown) {
    duration = m_ulMetaDuration;
  }
  const IndexSizing sizing = SizeIndexFor(duration);
  return m_pIndexTable->Init(static_cast<std::uint16_t>(m_ulStreamCount), sizing.granularity, sizing.capacity, 0);
}

Status CQBFLVFileFormat::AddSeekPoint(std::uint16_t stream, std::uint32_t offset, std::uint32_t time, bool key) {
  if (stream >= m_ulStreamCount) return kFailed;
  if (!m_pIndexTable) {
    const Status status = CreateSeekIndex();
    if (Failed(status)) return status;
  }
  if (key) return m_pIndexTable->AddEntry(stream, time, offset, 0);
  m_pIndexTable->NoteTime(stream, time);
  return kOk;
}

}  // namespace qbflv
