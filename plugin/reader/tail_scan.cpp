// The tail scan: walks back from the end of the file to the last timestamps, which give the durations. Whatever fails
// here only ends the tail scan.
#include "plugin/reader/file_format.h"
#include "plugin/reader/flv_parsers.h"
#include "plugin/util/host_objects.h"

namespace qbflv {

void CQBFLVFileFormat::OnTailSize(Status status, IQBBuffer* buffer) {
  const auto bytes = BufferBytes(buffer);
  if (Failed(status) || bytes.size() != kPreviousTagSizeBytes) return Rewind();
  ByteCursor cursor(bytes);
  std::uint32_t lastTagSize = 0;
  if (Failed(ReadUINT32(cursor, lastTagSize))) return Rewind();
  m_TailChain.Restart();
  SeekTailTag(m_ulFileOffset - lastTagSize - 2 * kPreviousTagSizeBytes);
}

void CQBFLVFileFormat::OnTailTag(Status status, IQBBuffer* buffer) {
  const auto bytes = BufferBytes(buffer);
  if (Failed(status) || bytes.size() != kTagHeaderReadBytes) return Rewind();
  if (Failed(ParseTagHeader(ByteCursor(bytes), m_TagHeader))) return Rewind();
  NoteTailTag();
  if (IsTailKnown()) return Rewind();
  SeekTailTag(m_ulFileOffset - m_TagHeader.ulPreviousTagSize - kTagHeaderReadBytes - kPreviousTagSizeBytes);
}

/// The walk goes backwards: the first audio tag met is the last one of the file, and the gap to the one before it is
/// taken as the length of the last. A tag that tells something new lets the walk start on a new round: only a round in
/// which nothing is learned can go on for ever.
void CQBFLVFileFormat::NoteTailTag() {
  const std::uint32_t relative = m_TagHeader.ulTimestamp - m_ulTimeBase;
  if (m_TagHeader.ucTagType == kTagVideo) {
    if (m_bLastVideoTimeKnown) return;
    m_ulLastVideoTime = relative;
    m_bLastVideoTimeKnown = true;
    m_TailChain.Restart();
    return;
  }
  if (m_TagHeader.ucTagType != kTagAudio || (m_bTailAudioSeen && m_bAudioDurationKnown)) return;
  if (!m_bTailAudioSeen) {
    m_ulLastAudioTime = relative;
    m_bTailAudioSeen = true;
  } else {
    m_ulAudioDuration = 2 * m_ulLastAudioTime - relative;
    m_bAudioDurationKnown = true;
  }
  m_TailChain.Restart();
}

bool CQBFLVFileFormat::IsTailKnown() const {
  if (m_FileHeader.HasAudio() && !m_bAudioDurationKnown) return false;
  return !m_FileHeader.HasVideo() || m_bLastVideoTimeKnown;
}

void CQBFLVFileFormat::SeekTailTag(std::uint32_t offset) {
  if (m_TailChain.ComesRound(offset)) return Rewind();
  SeekFile(kStateTailTagSeekPending, offset);
}

}  // namespace qbflv
