// Seeking: a jump to the latest known position, a scan over the tag headers from there to the wanted time, and a
// restart at the earliest position that a stream needs.
#include <algorithm>
#include <memory>
#include <utility>

#include "plugin/reader/file_format.h"
#include "plugin/reader/flv_parsers.h"
#include "plugin/reader/turn.h"
#include "plugin/util/host_objects.h"
#include "plugin/util/trace.h"

namespace qbflv {

Status CQBFLVFileFormat::Seek(std::uint32_t time) {
  QBFLV_TRACE_POINT("CQBFLVFileFormat[%p]::Seek(%lu)", static_cast<void*>(this), TraceNumber(time));
  if (!m_pStreams || m_ulStreamCount == 0 || !m_pFileObject) return kInvalidState;
  const Turn turn(*this);
  const Answer abandoned = AbandonWork();
  for (std::uint32_t i = 0; i < m_ulStreamCount; ++i) m_pStreams[i].Restart();
  if (!FlushPackets()) return kOk;

  std::uint32_t foundTime = time;
  std::uint32_t offset = 0;
  m_ulSeekTime = time;
  if (Succeeded(LookupSeekIndex(foundTime, offset))) {
    QBFLV_TRACE_POINT("\tCQBFLVFileFormat[%p]::Seek(%lu) - seek table found offset=%lu for time=%lu",
                      static_cast<void*>(this), TraceNumber(time), TraceNumber(offset), TraceNumber(foundTime));
    // A request for a few units is content with the position itself: it does not scan on to the time.
    if (m_ulProcessTimeUnits != 0) RestartVideoAt(foundTime, offset);
  } else {
    offset = m_FileHeader.ulDataOffset;
    QBFLV_TRACE_POINT(
        "\tCQBFLVFileFormat[%p]::Seek(%lu) - seek table could NOT find offset, starting scan at offset=%lu",
        static_cast<void*>(this), TraceNumber(time), TraceNumber(offset));
    if (m_ulProcessTimeUnits != 0 && !m_bDisableThumbnailSeekModification) RestartVideoAt(0, offset);
  }
  m_pPayload->OnSeek(time);
  SeekFile(kStateSeekScanSeekPending, offset);
  return kOk;
}

/// Whatever the object was about is over. An operation that is still unanswered will be answered into the seek; an
/// answer that waits is handed back, to be let go when nothing can be disturbed any more.
Answer CQBFLVFileFormat::AbandonWork() {
  ++m_ulEpoch;
  m_ulState = kStateSeekScanSeekPending;
  m_Operations.Overtake(m_ulSeekOffset);
  return std::exchange(m_Answer, Answer());
}

/// False when the last reference to a packet had the host move the object on.
bool CQBFLVFileFormat::FlushPackets() {
  const Bookmark here(*this);
  std::unique_ptr<CMergeSorter> mergeSorter = std::move(m_pMergeSorter);
  if (!mergeSorter) return true;
  mergeSorter->Flush();
  if (here.IsLost()) return false;
  m_pMergeSorter = std::move(mergeSorter);
  return true;
}

/// Moves the seek to that time, and the video stream to that position.
void CQBFLVFileFormat::RestartVideoAt(std::uint32_t time, std::uint32_t offset) {
  m_ulSeekTime = time;
  RecordVideoKeyPosition(time, offset);
}

void CQBFLVFileFormat::RecordVideoKeyPosition(std::uint32_t time, std::uint32_t offset) {
  if (!m_FileHeader.HasVideo()) return;
  const std::uint16_t stream = m_pPayload->GetStreamForTagType(kTagVideo);
  if (stream < m_ulStreamCount) m_pStreams[stream].SetSeekPosition(time, offset);
}

/// The scan starts at the latest of the streams' positions; each stream that has one keeps it to restart at.
Status CQBFLVFileFormat::LookupSeekIndex(std::uint32_t& time, std::uint32_t& offset) {
  if (!m_pIndexTable) return kFailed;
  std::uint32_t latestTime = 0;
  std::uint32_t latestOffset = 0;
  Status combined = kFailed;
  for (std::uint16_t i = 0; i < m_ulStreamCount; ++i) {
    FLVStreamState& state = m_pStreams[i];
    state.ulSeekTime = time;
    const Status found = m_pIndexTable->Lookup(i, &state.ulSeekTime, &state.ulSeekOffset, nullptr);
    if (Failed(found)) continue;
    state.bSeekPositionFound = true;
    latestTime = std::max(latestTime, state.ulSeekTime);
    latestOffset = std::max(latestOffset, state.ulSeekOffset);
    if (Failed(combined) || found == kOk) combined = found;
  }
  if (Failed(combined)) return combined;
  time = latestTime;
  offset = latestOffset;
  return combined;
}

void CQBFLVFileFormat::OnSeekScanTag(Status status, IQBBuffer* buffer) {
  const auto bytes = BufferBytes(buffer);
  if (Failed(status) || bytes.size() != kSeekScanReadBytes) return EndSeek(status);
  if (m_bOffsetCameRound) return EndSeek(status);
  if (Failed(ParseTagHeader(ByteCursor(bytes), m_TagHeader))) return EndSeek(status);

  if (m_pPayload->IsSkippedTagType(m_TagHeader.ucTagType) == 0) {
    const bool parsed = Succeeded(ParseMediaTagHeader(bytes.subspan(kTagHeaderReadBytes)));
    const std::uint32_t time = m_TagHeader.ulTimestamp - m_ulTimeBase;
    if (time >= m_ulSeekTime) {
      QBFLV_TRACE_POINT("Seek scan FINISHED: Found FLV packet with ts=%lu PAST seekTime=%lu", TraceNumber(time),
                        TraceNumber(m_ulSeekTime));
      return RestartDelivery(status);
    }
    NotePassedTag(time);
    if (!parsed) return EndSeek(status);
  }
  // Always forward, so that the scan ends: where the offsets would come round, it goes to the end of the file.
  const std::uint32_t body = m_ulFileOffset - 1;
  const std::uint32_t size = m_TagHeader.ulDataSize;
  SeekFile(kStateSeekScanSeekPending, size <= kLastOffset - body ? body + size : kLastOffset);
}

/// A tag before the wanted time. A key position becomes the stream's restart position, unless it has a later one.
void CQBFLVFileFormat::NotePassedTag(std::uint32_t time) {
  const std::uint16_t stream = m_pPayload->GetStreamForTagType(m_TagHeader.ucTagType);
  if (stream >= m_ulStreamCount) return;
  const std::uint32_t offset = m_ulFileOffset - kSeekScanReadBytes;
  if (m_TagHeader.ucTagType == kTagVideo && m_VideoTagHeader.ucFrameType != kFrameTypeKey) {
    AddSeekPoint(stream, offset, time, false);
    return;
  }
  if (m_TagHeader.ucTagType != kTagVideo && m_TagHeader.ucTagType != kTagAudio) return;
  FLVStreamState& state = m_pStreams[stream];
  if (state.bSeekPositionFound && time <= state.ulSeekTime) return;
  state.SetSeekPosition(time, offset);
  AddSeekPoint(stream, offset, time, true);
}

/// The tag at the wanted time is found: every stream starts at or before its last key position.
void CQBFLVFileFormat::RestartDelivery(Status status) {
  bool found = false;
  std::uint32_t offset = kLastOffset;
  for (std::uint32_t i = 0; i < m_ulStreamCount; ++i) {
    if (!m_pStreams[i].bSeekPositionFound) continue;
    found = true;
    offset = std::min(offset, m_pStreams[i].ulSeekOffset);
  }
  // Without any position, the tag just found is where delivery starts.
  if (!found) offset = m_ulSeekOffset;
  const Bookmark here(*this);
  SeekFile(kStateSeekPositionPending, offset);
  const bool refused = !m_Operations.IsWaiting() && m_Answer.completion == Completion::kNone;
  if (!found && refused && !here.IsLost()) EndSeek(status);
}

/// A GetPacket that came during the seek is served like one that comes after it.
void CQBFLVFileFormat::EndSeek(Status status) {
  m_ulState = kStatePacketIdle;
  const Bookmark here(*this);
  const ComPtr<IQBFormatSink> sink = m_pFormatSink;
  sink->SeekDone(status);
  if (here.IsLost() || m_ulState != kStatePacketIdle || !AnyStreamWaiting()) return;
  ServeRequests();
}

}  // namespace qbflv
