// Handing out: packets leave the merge sorter in time order, each to a stream that has asked.
#include "plugin/reader/file_format.h"
#include "plugin/reader/turn.h"
#include "plugin/util/trace.h"

namespace qbflv {

/// From the idle state, with a request open.
void CQBFLVFileFormat::ServeRequests() {
  if (!HandOutPackets()) return;
  // A packet is ready, but for a stream that has not asked: reading on would only pile packets up behind it.
  if (HasReleasablePacket()) return;
  ReadTagHeader();
}

bool CQBFLVFileFormat::HandOutPackets() {
  const Bookmark here(*this);
  bool handedOut = true;
  do {
    m_ulState = kStatePacketDelivering;
    handedOut = DeliverNextPacket();
    if (here.IsLost() || m_ulState != kStatePacketDelivering) return false;
    m_ulState = kStatePacketIdle;
  } while (handedOut && AnyStreamWaiting());
  return true;
}

bool CQBFLVFileFormat::DeliverNextPacket() {
  if (!m_pMergeSorter) return false;
  std::uint16_t stream = 0;
  return m_pMergeSorter->FindNextPacket(stream) == kOk && DeliverPacket(stream);
}

/// A packet whose stream has not asked stays queued, and nothing behind it is handed out.
bool CQBFLVFileFormat::DeliverPacket(std::uint16_t stream) {
  if (!m_pStreams || stream >= m_ulStreamCount || !m_pFormatSink || !m_pStreams[stream].bPacketRequested) return false;
  ComPtr<IQBPacket> packet;
  if (m_pMergeSorter->GetNextPacket(packet, true) != kOk) return false;
  m_pStreams[stream].bPacketRequested = false;
  const Bookmark here(*this);
  if (!m_pStreams[stream].bPacketTypeChecked) {
    const bool isRtp = static_cast<bool>(packet.Query<IQBRTPPacket>());
    if (here.IsLost()) return false;
    m_pStreams[stream].bRTPPackets = isRtp;
    m_pStreams[stream].bPacketTypeChecked = true;
  }
  if constexpr (kTraceEnabled) TracePacket(packet.Get(), m_pStreams[stream].bRTPPackets);

  const ComPtr<IQBFormatSink> sink = m_pFormatSink;
  sink->PacketReady(kOk, packet.Get());
  if (here.IsLost()) return true;
  if (m_pMergeSorter->IsStreamEnded(stream) && m_pMergeSorter->GetQueuedCount(stream) == 0 &&
      !m_pStreams[stream].bStreamDone) {
    SendStreamDone(stream);
  }
  return true;
}

void CQBFLVFileFormat::TracePacket(IQBPacket* packet, bool isRtp) {
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

/// Answers the stream's open request, if there is one.
void CQBFLVFileFormat::SendStreamDone(std::uint16_t stream) {
  m_pStreams[stream].bStreamDone = true;
  m_pStreams[stream].bPacketRequested = false;
  QBFLV_TRACE_POINT("\tcalling StreamDone(%lu)", TraceNumber(stream));
  const ComPtr<IQBFormatSink> sink = m_pFormatSink;
  sink->StreamDone(stream);
}

bool CQBFLVFileFormat::HasReleasablePacket() {
  std::uint16_t stream = 0;
  return m_pMergeSorter && m_pMergeSorter->FindNextPacket(stream) == kOk;
}

bool CQBFLVFileFormat::AnyStreamWaiting() const {
  for (std::uint32_t i = 0; i < m_ulStreamCount; ++i) {
    if (m_pStreams[i].bPacketRequested && !m_pStreams[i].bStreamDone) return true;
  }
  return false;
}

bool CQBFLVFileFormat::AllStreamsWaitingOrDone() const {
  for (std::uint32_t i = 0; i < m_ulStreamCount; ++i) {
    if (!m_pStreams[i].bPacketRequested && !m_pStreams[i].bStreamDone) return false;
  }
  return true;
}

}  // namespace qbflv
