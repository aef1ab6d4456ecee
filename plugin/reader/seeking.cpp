// Seeking: a jump to the latest known position, a scan over the tag headers from there to the requested time, and a
// restart at the earliest position that a stream needs.
#include <algorithm>
#include <utility>

#include "plugin/reader/file_format.h"
#include "plugin/reader/turn.h"
#include "plugin/util/trace.h"

namespace qbflv {

namespace {

/// The scan starts at the latest of the streams' positions; each stream keeps its own as its restart position. kFailed,
/// with the outputs unchanged, when no stream has a position.
Status LookupSeekIndex(CStreamQueues& streams, CSeekPoints& seekPoints, std::uint32_t& time, std::uint32_t& offset) {
  std::uint32_t latestTime = 0;
  std::uint32_t latestOffset = 0;
  Status combined = kFailed;
  for (std::uint32_t i = 0; i < streams.GetCount(); ++i) {
    FLVStreamState& state = streams[i];
    state.ulSeekTime = time;
    const Status found = seekPoints.Lookup(i, state.ulSeekTime, state.ulSeekOffset);
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

}  // namespace

Status CQBFLVFileFormat::Seek(std::uint32_t time) {
  QBFLV_TRACE_POINT("CQBFLVFileFormat[%p]::Seek(%lu)", static_cast<void*>(this), TraceNumber(time));
  if (m_Streams.GetCount() == 0 || !m_File.IsAttached()) return kInvalidState;
  return RunTurn([&] { return StartSeek(time); });
}

/// Cancels whatever the object was doing. A pending operation will complete during the seek.
Status CQBFLVFileFormat::StartSeek(std::uint32_t time) {
  if (!m_File.Supersede()) return kOutOfMemory;
  const FileCompletion dropped = AbandonStep();
  m_ulState = kStateSeekScanSeekPending;
  m_Streams.Restart();
  const Step step(*this);
  m_Streams.Flush();
  if (step.IsAbandoned()) return kOk;

  const std::uint32_t offset = ChooseScanStart(time);
  m_pPayload->OnSeek(time);
  SeekFile(kStateSeekScanSeekPending, offset);
  return kOk;
}

/// The offset at which the scan starts. A request for a few units accepts a known position as it is, and then does not
/// scan on to the requested time.
std::uint32_t CQBFLVFileFormat::ChooseScanStart(std::uint32_t time) {
  std::uint32_t foundTime = time;
  std::uint32_t offset = 0;
  m_ulSeekTime = time;
  const bool isLimited = m_Options.m_ulProcessTimeUnits != 0;
  if (Succeeded(LookupSeekIndex(m_Streams, m_SeekPoints, foundTime, offset))) {
    QBFLV_TRACE_POINT("\tCQBFLVFileFormat[%p]::Seek(%lu) - seek table found offset=%lu for time=%lu",
                      static_cast<void*>(this), TraceNumber(time), TraceNumber(offset), TraceNumber(foundTime));
    if (isLimited) MoveSeekTo(foundTime, offset);
    return offset;
  }
  offset = m_Facts.m_FileHeader.ulDataOffset;
  QBFLV_TRACE_POINT("\tCQBFLVFileFormat[%p]::Seek(%lu) - seek table could NOT find offset, starting scan at offset=%lu",
                    static_cast<void*>(this), TraceNumber(time), TraceNumber(offset));
  if (isLimited && !m_Options.m_bDisableThumbnailSeekModification) MoveSeekTo(0, offset);
  return offset;
}

/// Makes that time the target of the seek, and that position the video stream's restart position.
void CQBFLVFileFormat::MoveSeekTo(std::uint32_t time, std::uint32_t offset) {
  m_ulSeekTime = time;
  if (!m_Facts.m_FileHeader.HasVideo()) return;
  const std::uint16_t stream = m_pPayload->GetStreamForTagType(kTagVideo);
  if (stream < m_Streams.GetCount()) m_Streams[stream].SetSeekPosition(time, offset);
}

void CQBFLVFileFormat::OnSeekScanTag(const FileCompletion& completion) {
  const Status status = completion.status;
  const auto bytes = completion.Bytes();
  if (Failed(status) || bytes.size() != kSeekScanReadBytes || m_File.IsOffsetWrapped()) return EndSeek(status);
  if (Failed(m_Tag.ReadHeader(bytes, m_File.GetReadOffset()))) return EndSeek(status);

  if (m_pPayload->IsSkippedTagType(m_Tag.header.ucTagType) == 0) {
    m_Tag.ReadMediaHeader(bytes.subspan(kTagHeaderReadBytes));
    const std::uint32_t time = m_Facts.ToRelative(m_Tag.header.ulTimestamp);
    if (time >= m_ulSeekTime) {
      QBFLV_TRACE_POINT("Seek scan FINISHED: Found FLV packet with ts=%lu PAST seekTime=%lu", TraceNumber(time),
                        TraceNumber(m_ulSeekTime));
      return RestartDelivery(status);
    }
    NotePassedTag(time);
  }
  // Always forward, so that the scan ends: an offset that would wrap becomes the last one, at the end of the file.
  const std::uint64_t next = std::min<std::uint64_t>(m_Tag.GetNextOffset(), kLastOffset);
  SeekFile(kStateSeekScanSeekPending, static_cast<std::uint32_t>(next));
}

/// A tag before the requested time. A key position becomes the stream's restart position unless it has a later one.
void CQBFLVFileFormat::NotePassedTag(std::uint32_t time) {
  const std::uint16_t stream = m_pPayload->GetStreamForTagType(m_Tag.header.ucTagType);
  if (stream >= m_Streams.GetCount()) return;
  if (!m_Tag.IsKeyPosition()) {
    m_SeekPoints.AddSeekPoint(stream, m_Tag.offset, time, false);
    return;
  }
  FLVStreamState& state = m_Streams[stream];
  if (state.bSeekPositionFound && time <= state.ulSeekTime) return;
  state.SetSeekPosition(time, m_Tag.offset);
  m_SeekPoints.AddSeekPoint(stream, m_Tag.offset, time, true);
}

/// The first tag at or past the requested time is found. Delivery restarts at the earliest restart position of a
/// stream, and at that tag when no stream has one.
void CQBFLVFileFormat::RestartDelivery(Status status) {
  std::uint32_t offset = m_Tag.offset;
  if (m_Streams.FindRestartOffset(offset)) return SeekFile(kStateSeekPositionPending, offset);
  const Step step(*this);
  SeekFile(kStateSeekPositionPending, offset);
  if (step.IsAbandoned() || !m_File.IsRefused()) return;
  m_File.Abandon();
  EndSeek(status);
}

/// A GetPacket that came during the seek is served like one that comes after it.
void CQBFLVFileFormat::EndSeek(Status status) {
  m_ulState = kStatePacketIdle;
  const Step step(*this);
  const ComPtr<IQBFormatSink> sink = m_pFormatSink;
  sink->SeekDone(status);
  if (!step.IsAbandoned()) ServeWaitingStreams();
}

}  // namespace qbflv
