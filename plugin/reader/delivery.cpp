// Reads the file front to back, one tag at a time, and queues a packet for each tag that a stream takes.
#include <algorithm>
#include <utility>

#include "plugin/reader/file_format.h"
#include "plugin/reader/turn.h"
#include "plugin/util/trace.h"

namespace qbflv {

namespace {

/// The time span in ms that may be queued. A file whose key frames are further apart gets its interval and a margin,
/// within bounds.
constexpr std::uint32_t kDefaultTimespan = 10000;
constexpr std::uint32_t kTimespanMargin = 1000;
constexpr std::uint32_t kLargestTimespan = 30000;

std::uint32_t ChooseTimespan(std::uint32_t preferred, std::uint32_t keyFrameInterval) {
  if (preferred != 0) return preferred;
  if (keyFrameInterval <= kDefaultTimespan) return kDefaultTimespan;
  return std::min(keyFrameInterval, kLargestTimespan - kTimespanMargin) + kTimespanMargin;
}

/// May call back: the payload calls the host.
Status CreatePacket(CFLVPayload& payload, const CurrentTag& tag, IQBBuffer* body, PayloadPacket& made) {
  switch (tag.header.ucTagType) {
    case kTagAudio:
      return payload.CreateAudioPacket(tag.header, tag.audio, body, made);
    case kTagVideo:
      return payload.CreateVideoPacket(tag.header, tag.video, body, made);
    default:
      return payload.CreateOtherPacket(tag.header, body, made);
  }
}

}  // namespace

void CQBFLVFileFormat::OnPacketHeader(FileCompletion& completion) {
  if (Failed(completion.status)) {
    QBFLV_TRACE_POINT("Failed to read %lu bytes m_ulFileOffset=%lu m_ulFileSize=%lu", TraceNumber(m_File.GetReadSize()),
                      TraceNumber(m_File.GetOffset()), TraceNumber(m_File.GetFileSize()));
    return EndAllStreams();
  }
  const auto bytes = completion.Bytes();
  if (bytes.size() < m_ulTagHeaderReadSize && completion.Size() < m_ulTagHeaderReadSize) {
    return OnShortPacketHeader(completion);
  }
  if (Failed(m_Tag.ReadHeader(bytes, m_File.GetReadOffset()))) return EndAllStreams();
  std::swap(m_pTagBuffer, completion.buffer);  // the previous one is released when the step is over
  if (m_ulTagPrefixBytes > 0 && Failed(m_Tag.ReadMediaHeader(bytes.subspan(kTagHeaderReadBytes)))) {
    return EndAllStreams();
  }

  if (m_pPayload->IsSkippedTagType(m_Tag.header.ucTagType) != 0) return SkipBody();
  const std::uint32_t rest = m_Tag.header.ulDataSize - m_ulTagPrefixBytes;
  if (rest == 0) return ReadTagHeader();  // an empty tag makes no packet
  Read(kStatePacketBodyPending, rest);
}

/// Always forward: in a file of 4 GiB or more, an offset that wraps would lead back to the start.
void CQBFLVFileFormat::SkipBody() {
  const std::uint64_t next = m_Tag.GetNextOffset();
  if (m_File.IsOffsetWrapped() || next > kLastOffset) return EndAllStreams();
  SeekFile(kStatePacketSkipPending, static_cast<std::uint32_t>(next));
}

/// Inside the file a short read is a failure. At its end it is the normal end: what can still be delivered goes to the
/// streams that wait, then every stream is done.
void CQBFLVFileFormat::OnShortPacketHeader(const FileCompletion& completion) {
  const std::uint32_t size = completion.Size();
  if (m_File.IsFileSizeKnown() && m_File.GetOffset() < m_File.GetFileSize()) {
    QBFLV_TRACE_POINT("Failed to read %lu bytes m_ulFileOffset=%lu m_ulFileSize=%lu ulReadSize=%lu",
                      TraceNumber(m_File.GetReadSize()), TraceNumber(m_File.GetOffset()),
                      TraceNumber(m_File.GetFileSize()), TraceNumber(size));
    return EndAllStreams();
  }
  QBFLV_TRACE_POINT("Reached the end of the file (fileSize=%lu)", TraceNumber(m_File.GetFileSize()));
  if (size == 0) return EndAllStreams();

  ComPtr<IQBPacket> packet;
  if (Failed(m_pPayload->OnEndOfFile(completion.buffer.Get(), packet))) return EndAllStreams();
  if (Failed(m_Streams.QueueLastPacket(packet))) return EndAllStreams();
  if (DeliverPackets()) EndAllStreams();
}

/// The state changes last: until then a GetPacket inside StreamDone only opens its request. Served, it would read on
/// from the middle of the tag that could not be skipped.
void CQBFLVFileFormat::OnSkipFailed() {
  const Step step(*this);
  EndAllStreams();
  if (!step.IsAbandoned() && m_ulState == kStatePacketSkipPending) m_ulState = kStatePacketIdle;
}

void CQBFLVFileFormat::OnPacketBody(const FileCompletion& completion) {
  if (Failed(completion.status)) return EndAllStreams();
  const auto body = completion.Bytes();
  const std::uint32_t wanted = m_File.GetReadSize();
  if (body.size() < wanted && completion.Size() < wanted) return EndAllStreams();
  // A body too short for its tag header is delivered all the same.
  if (m_ulTagPrefixBytes == 0) m_Tag.ReadMediaHeader(body);

  const Step step(*this);
  PayloadPacket made;  // kept to the end of the step, for the host may call back from the packet's last Release
  const ComPtr<CFLVPayload> payload = m_pPayload;
  const Status status = CreatePacket(*payload, m_Tag, completion.buffer.Get(), made);
  if (step.IsAbandoned()) return;
  if (status == kNoPacket) return ReadTagHeader();
  if (Failed(status)) return EndAllStreams();

  const std::uint32_t time = m_Facts.ToRelative(m_Tag.header.ulTimestamp);
  m_SeekPoints.AddSeekPoint(made.stream, m_Tag.offset, time, m_Tag.IsKeyPosition());
  if (Failed(QueuePacket(made))) return EndAllStreams();
  if (!DeliverPackets()) return;
  if (m_Streams.AreAllWaitingOrDone()) ReadTagHeader();
}

/// The last times that the tail scan found are on the file's own time line, which starts at the time base.
Status CQBFLVFileFormat::QueuePacket(PayloadPacket& made) {
  if (!m_Streams.HasMergeSorter()) {
    const Status status = m_Streams.CreateMergeSorter(
        ChooseTimespan(m_Options.m_ulMergeSorterMaxTimespan, m_Facts.m_ulMaxKeyFrameInterval));
    if (Failed(status)) return status;
  }
  if (!made.packet) return kOk;
  const std::uint32_t time = m_Facts.ToRelative(made.time);
  const bool isAudio = made.stream == m_Streams.GetAudioStream();
  const bool isLastTime = isAudio ? m_Facts.IsLastAudioTime(time) : m_Facts.IsLastVideoTime(time);
  return m_Streams.QueuePacket(made, *m_pPayload,
                               {.isLastTime = isLastTime, .unitLimit = m_Options.m_ulProcessTimeUnits});
}

/// Packets that are still queued are not delivered.
void CQBFLVFileFormat::EndAllStreams() {
  const Step step(*this);
  for (std::uint16_t stream = 0; stream < m_Streams.GetCount(); ++stream) {
    if (m_Streams.IsDone(stream)) continue;
    m_pPayload->OnStreamEnd(stream, kEndReached);
    m_Streams.SetEnded(stream);
    SendStreamDone(stream);
    if (step.IsAbandoned()) return;
  }
}

}  // namespace qbflv
