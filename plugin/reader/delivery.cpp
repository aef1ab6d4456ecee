// Delivery: reads the file front to back, a tag at a time, and queues a packet for each tag that a stream takes.
#include <algorithm>
#include <utility>

#include "plugin/reader/file_format.h"
#include "plugin/reader/flv_parsers.h"
#include "plugin/reader/turn.h"
#include "plugin/util/host_objects.h"
#include "plugin/util/trace.h"

namespace qbflv {

namespace {

constexpr std::uint32_t kMaxQueuedPackets = 1000;
/// The time span in ms that may be queued. A file whose key frames lie further apart gets its interval and a little
/// more, within bounds.
constexpr std::uint32_t kDefaultTimespan = 10000;
constexpr std::uint32_t kTimespanMargin = 1000;
constexpr std::uint32_t kLargestTimespan = 30000;

/// What ended a stream, as the payload is told.
constexpr std::uint32_t kEndReached = 1;
constexpr std::uint32_t kLimitReached = 0;

std::uint32_t ChooseTimespan(std::uint32_t preferred, std::uint32_t keyFrameInterval) {
  if (preferred != 0) return preferred;
  if (keyFrameInterval <= kDefaultTimespan) return kDefaultTimespan;
  return std::min(keyFrameInterval, kLargestTimespan - kTimespanMargin) + kTimespanMargin;
}

}  // namespace

void CQBFLVFileFormat::ReadTagHeader() { Read(kStatePacketHeaderPending, m_ulTagHeaderReadSize); }

void CQBFLVFileFormat::OnPacketHeader(Status status, ComPtr<IQBBuffer> buffer) {
  if (Failed(status)) {
    QBFLV_TRACE_POINT("Failed to read %lu bytes m_ulFileOffset=%lu m_ulFileSize=%lu", TraceNumber(m_ulReadSize),
                      TraceNumber(m_ulFileOffset), TraceNumber(m_ulFileSize));
    return EndAllStreams();
  }
  const auto bytes = BufferBytes(buffer.Get());
  if (bytes.size() < m_ulTagHeaderReadSize) return OnShortPacketHeader(buffer.Get());
  if (Failed(ParseTagHeader(ByteCursor(bytes), m_TagHeader))) return EndAllStreams();
  std::swap(m_pTagBuffer, buffer);  // the one before it is let go last: the host may call from there
  if (m_ulTagPrefixBytes > 0 && Failed(ParseMediaTagHeader(bytes.subspan(kTagHeaderReadBytes)))) {
    return EndAllStreams();
  }

  const std::uint32_t rest = m_TagHeader.ulDataSize - m_ulTagPrefixBytes;
  if (m_pPayload->IsSkippedTagType(m_TagHeader.ucTagType) != 0) return SkipBody();
  if (rest == 0) return ReadTagHeader();  // an empty tag makes no packet
  Read(kStatePacketBodyPending, rest);
}

/// Always forward: a file of 4 GiB and more, whose offsets come round, would else be gone through for ever.
void CQBFLVFileFormat::SkipBody() {
  const std::uint64_t next = std::uint64_t{m_ulFileOffset} + m_TagHeader.ulDataSize - m_ulTagPrefixBytes;
  if (m_bOffsetCameRound || next > kLastOffset) return EndAllStreams();
  SeekFile(kStatePacketSkipPending, static_cast<std::uint32_t>(next));
}

/// The read came back short. Inside the file that is a failure; at its end it is the normal end, and what can still be
/// handed out goes to the streams that wait. Without a merge sorter there is nothing to hand out, and with stream 0
/// ended in it no further packet is queued; either way every stream gets its StreamDone.
void CQBFLVFileFormat::OnShortPacketHeader(IQBBuffer* buffer) {
  const auto size = static_cast<std::uint32_t>(BufferBytes(buffer).size());
  if (m_bFileSizeKnown && m_ulFileOffset < m_ulFileSize) {
    QBFLV_TRACE_POINT("Failed to read %lu bytes m_ulFileOffset=%lu m_ulFileSize=%lu ulReadSize=%lu",
                      TraceNumber(m_ulReadSize), TraceNumber(m_ulFileOffset), TraceNumber(m_ulFileSize),
                      TraceNumber(size));
    return EndAllStreams();
  }
  QBFLV_TRACE_POINT("Reached the end of the file (fileSize=%lu)", TraceNumber(m_ulFileSize));
  if (size == 0) return EndAllStreams();

  ComPtr<IQBPacket> packet;
  if (Failed(m_pPayload->OnEndOfFile(buffer, packet))) return EndAllStreams();
  const bool takesPacket = packet && m_pMergeSorter && !m_pMergeSorter->IsStreamEnded(0);
  if (takesPacket && Failed(m_pMergeSorter->AddPacket(packet))) return EndAllStreams();
  if (!HandOutPackets()) return;
  EndAllStreams();
}

/// The state is left last: until then a GetPacket from inside StreamDone only notes its request, and does not read on
/// from the middle of the tag that could not be skipped.
void CQBFLVFileFormat::OnSkipFailed() {
  const Bookmark here(*this);
  EndAllStreams();
  if (!here.IsLost() && m_ulState == kStatePacketSkipPending) m_ulState = kStatePacketIdle;
}

void CQBFLVFileFormat::OnPacketBody(Status status, IQBBuffer* buffer) {
  const auto body = BufferBytes(buffer);
  if (Failed(status) || buffer == nullptr || body.size() < m_ulReadSize) return EndAllStreams();
  // A body too short for its tag header is delivered all the same.
  if (m_ulTagPrefixBytes == 0) static_cast<void>(ParseMediaTagHeader(body));

  const Bookmark here(*this);
  ComPtr<IQBPacket> packet;
  std::uint16_t stream = kNoStream;
  status = CreatePacket(buffer, packet, stream);
  if (here.IsLost()) return;
  if (status == kNoPacket) return ReadTagHeader();
  if (Failed(status)) return EndAllStreams();

  const bool isKey = m_TagHeader.ucTagType != kTagVideo || m_VideoTagHeader.ucFrameType == kFrameTypeKey;
  const std::uint32_t offset = m_ulFileOffset - m_ulTagHeaderReadSize - static_cast<std::uint32_t>(body.size());
  AddSeekPoint(stream, offset, m_TagHeader.ulTimestamp - m_ulTimeBase, isKey);
  if (Failed(EnsureMergeSorter())) return EndAllStreams();
  // The packet is kept to the end: the host may call from its last Release, also when it is not queued.
  if (packet && Failed(QueuePacket(packet))) return EndAllStreams();
  if (!HandOutPackets()) return;
  if (AllStreamsWaitingOrDone()) ReadTagHeader();
}

Status CQBFLVFileFormat::ParseMediaTagHeader(std::span<const std::uint8_t> body) {
  ByteCursor cursor(body);
  switch (m_TagHeader.ucTagType) {
    case kTagAudio:
      return ParseAudioTagHeader(cursor, m_AudioTagHeader);
    case kTagVideo:
      return ParseVideoTagHeader(cursor, m_VideoTagHeader);
    default:
      return kOk;
  }
}

Status CQBFLVFileFormat::CreatePacket(IQBBuffer* body, ComPtr<IQBPacket>& packet, std::uint16_t& stream) {
  const ComPtr<CFLVPayload> payload = m_pPayload;  // it calls the host, which may close the object
  switch (m_TagHeader.ucTagType) {
    case kTagAudio:
      return payload->CreateAudioPacket(m_TagHeader, m_AudioTagHeader, body, packet, stream);
    case kTagVideo:
      return payload->CreateVideoPacket(m_TagHeader, m_VideoTagHeader, body, packet, stream);
    default:
      return payload->CreateOtherPacket(m_TagHeader, body, packet, stream);
  }
}

Status CQBFLVFileFormat::EnsureMergeSorter() {
  if (m_pMergeSorter) return kOk;
  m_pMergeSorter = MakeOwned<CMergeSorter>();
  if (!m_pMergeSorter) return kOutOfMemory;
  const std::uint32_t timespan = ChooseTimespan(m_ulMergeSorterMaxTimespan, m_ulMaxKeyFrameInterval);
  QBFLV_TRACE_POINT("Merge Sorter initialized with max_timespan = %lu ms", TraceNumber(timespan));
  return m_pMergeSorter->Initialize(
      m_ulStreamCount, {.maxPackets = kMaxQueuedPackets, .maxTimespan = timespan, .maxBytes = kNoByteLimit});
}

Status CQBFLVFileFormat::QueuePacket(ComPtr<IQBPacket> packet) {
  const std::uint16_t stream = packet->GetStreamNumber();
  if (m_pMergeSorter->IsStreamEnded(stream)) return kOk;
  const bool isLast = CountUnit(stream, packet.Get());
  const Status status = m_pMergeSorter->AddPacket(std::move(packet));
  if (Succeeded(status) && isLast) m_pMergeSorter->SetStreamEnded(stream);
  return status;
}

/// Counts the packet; true when it is its stream's last one: by its time, or by the number of units that was asked for.
bool CQBFLVFileFormat::CountUnit(std::uint16_t stream, IQBPacket* packet) {
  if (stream >= m_ulStreamCount) return false;
  FLVStreamState& state = m_pStreams[stream];
  const bool isAudio = stream == m_pPayload->GetStreamForTagType(kTagAudio);
  if (isAudio || m_pPayload->IsCountedUnit(packet) != 0) ++state.ulUnitCount;
  if (m_pPayload->AllowsEarlyStreamEnd() == 0) return false;

  const bool limitReached = m_ulProcessTimeUnits != 0 && state.ulUnitCount >= m_ulProcessTimeUnits;
  if (isAudio) return limitReached || (m_bTailAudioSeen && packet->GetTime() == m_ulLastAudioTime);
  std::uint32_t time = 0;
  const bool lastReached =
      m_bLastVideoTimeKnown && m_pPayload->GetPacketTime(packet, time) != 0 && time == m_ulLastVideoTime;
  if (!lastReached && !limitReached) return false;
  m_pPayload->OnStreamEnd(stream, lastReached ? kEndReached : kLimitReached);
  return true;
}

/// Ends every stream at once; packets still queued are not delivered.
void CQBFLVFileFormat::EndAllStreams() {
  const Bookmark here(*this);
  for (std::uint16_t stream = 0; stream < m_ulStreamCount; ++stream) {
    if (m_pStreams[stream].bStreamDone) continue;
    m_pPayload->OnStreamEnd(stream, kEndReached);
    if (m_pMergeSorter) m_pMergeSorter->SetStreamEnded(stream);
    SendStreamDone(stream);
    if (here.IsLost()) return;
  }
}

}  // namespace qbflv
