// Delivers queued packets: they leave the merge sorter in time order, each to a stream with an open request.
#include "plugin/reader/file_format.h"
#include "plugin/reader/turn.h"
#include "plugin/util/trace.h"

namespace qbflv {

namespace {

// Without trace points nothing calls it.
[[maybe_unused]] void TracePacket(IQBPacket* packet, bool isRtp) {
  const ComPtr<IQBRTPPacket> rtpPacket = isRtp ? QueryFor<IQBRTPPacket>(packet) : nullptr;
  const unsigned long time = TraceNumber(packet->GetTime());
  const unsigned stream = packet->GetStreamNumber();
  const unsigned flags = packet->GetASMFlags();
  const unsigned rule = packet->GetASMRuleNumber();
  if (rtpPacket) {
    QBFLV_TRACE_POINT("\tcalling PacketReady(QBR_OK,) ts=%lu strm=%u asmFlags=0x%02x asmRule=%u rtpTime=%lu", time,
                      stream, flags, rule, TraceNumber(rtpPacket->GetRTPTime()));
  } else {
    QBFLV_TRACE_POINT("\tcalling PacketReady(QBR_OK,) ts=%lu strm=%u asmFlags=0x%02x asmRule=%u", time, stream, flags,
                      rule);
  }
}

}  // namespace

Status CQBFLVFileFormat::GetPacket(std::uint16_t stream) {
  QBFLV_TRACE_POINT("CQBFLVFileFormat[%p]::GetPacket(%u)", static_cast<void*>(this), unsigned{stream});
  if (Failed(m_Streams.Request(stream))) return kInvalidState;
  // In any other state the request is served when the current work gets to it.
  if (m_ulState != kStatePacketIdle) return kOk;
  return RunTurn([this] {
    ServeRequests();
    return kOk;
  });
}

/// In the idle state, with a request open.
void CQBFLVFileFormat::ServeRequests() {
  if (!DeliverPackets()) return;
  // A packet is ready for a stream without a request: reading on would only queue more packets behind it.
  if (m_Streams.HasReleasablePacket()) return;
  ReadTagHeader();
}

/// Serves requests that came while there was other work.
void CQBFLVFileFormat::ServeWaitingStreams() {
  if (m_ulState == kStatePacketIdle && m_Streams.IsAnyWaiting()) ServeRequests();
}

/// Delivers packets while streams wait for them. False when a callback has changed the state: the caller must return.
bool CQBFLVFileFormat::DeliverPackets() {
  const Step step(*this);
  m_ulState = kStatePacketIdle;
  while (m_Streams.HasPacketForRequest()) {
    m_ulState = kStatePacketDelivering;
    DeliverNextPacket();
    if (step.IsAbandoned() || m_ulState != kStatePacketDelivering) return false;
    m_ulState = kStatePacketIdle;
  }
  return true;
}

void CQBFLVFileFormat::DeliverNextPacket() {
  std::uint16_t stream = 0;
  const ComPtr<IQBPacket> packet = m_Streams.TakePacket(stream);
  const Step step(*this);
  if (!m_Streams.IsPacketTypeKnown(stream)) {
    CheckPacketType(stream, packet);
    if (step.IsAbandoned()) return;
  }
  if constexpr (kTraceEnabled) TracePacket(packet.Get(), m_Streams.HasRTPPackets(stream));

  const ComPtr<IQBFormatSink> sink = m_pFormatSink;
  sink->PacketReady(kOk, packet.Get());
  if (!step.IsAbandoned() && m_Streams.IsDrained(stream)) SendStreamDone(stream);
}

void CQBFLVFileFormat::CheckPacketType(std::uint16_t stream, const ComPtr<IQBPacket>& packet) {
  const Step step(*this);
  const bool isRtp = static_cast<bool>(packet.Query<IQBRTPPacket>());
  if (step.IsAbandoned()) return;
  m_Streams.SetPacketType(stream, isRtp);
}

/// Also closes the stream's open request, if there is one.
void CQBFLVFileFormat::SendStreamDone(std::uint16_t stream) {
  m_Streams.SetDone(stream);
  QBFLV_TRACE_POINT("\tcalling StreamDone(%lu)", TraceNumber(stream));
  const ComPtr<IQBFormatSink> sink = m_pFormatSink;
  sink->StreamDone(stream);
}

}  // namespace qbflv
