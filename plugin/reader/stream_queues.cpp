#include "plugin/reader/stream_queues.h"

#include <span>
#include <utility>

#include "plugin/util/trace.h"

namespace qbflv {

namespace {

constexpr std::uint32_t kMaxQueuedPackets = 1000;

}  // namespace

bool CStreamQueues::Create(std::uint32_t streamCount, std::uint16_t audioStream) {
  OwnedArray<FLVStreamState> streams = MakeArray<FLVStreamState>(streamCount);
  if (!streams) return false;
  m_pStreams = std::move(streams);
  m_ulStreamCount = streamCount;
  m_uAudioStream = audioStream;
  m_Idle = StreamSet::OfFirst(streamCount);
  return true;
}

Status CStreamQueues::Request(std::uint32_t stream) {
  if (stream >= m_ulStreamCount || !m_Idle.Has(stream)) return kInvalidState;
  m_Idle.Remove(stream);
  m_Waiting.Add(stream);
  return kOk;
}

Status CStreamQueues::CreateMergeSorter(std::uint32_t maxTimespan) {
  QBFLV_TRACE_POINT("Merge Sorter initialized with max_timespan = %lu ms", TraceNumber(maxTimespan));
  return m_MergeSorter.Initialize(
      m_ulStreamCount, {.maxPackets = kMaxQueuedPackets, .maxTimespan = maxTimespan, .maxBytes = kNoByteLimit});
}

Status CStreamQueues::QueuePacket(PayloadPacket& made, CFLVPayload& payload, const EndRule& rule) {
  const std::uint16_t stream = made.stream;
  if (m_MergeSorter.IsStreamEnded(stream)) return kOk;
  IQBPacket* const packet = made.packet.Get();
  const Status status = m_MergeSorter.AddPacket(std::move(made.packet), stream, {.time = made.time});
  if (Failed(status)) return status;

  const bool isAudio = stream == m_uAudioStream;
  bool limitReached = false;
  if (rule.unitLimit != 0) {
    std::uint32_t& units = m_pStreams[stream].ulUnitCount;
    if (isAudio || payload.IsCountedUnit(packet) != 0) ++units;
    limitReached = units >= rule.unitLimit;
  }
  if ((!rule.isLastTime && !limitReached) || payload.AllowsEarlyStreamEnd() == 0) return status;
  if (!isAudio) payload.OnStreamEnd(stream, rule.isLastTime ? kEndReached : kLimitReached);
  m_MergeSorter.SetStreamEnded(stream);
  return status;
}

Status CStreamQueues::QueueLastPacket(const ComPtr<IQBPacket>& packet) {
  if (!packet || !m_MergeSorter.IsInitialized() || m_MergeSorter.IsStreamEnded(0)) return kOk;
  return m_MergeSorter.AddPacket(packet);
}

bool CStreamQueues::HasReleasablePacket() const {
  std::uint16_t stream = 0;
  return m_MergeSorter.FindNextPacket(stream) == kOk;
}

bool CStreamQueues::HasPacketForRequest() const {
  std::uint16_t stream = 0;
  return m_MergeSorter.FindNextPacket(stream) == kOk && m_Waiting.Has(stream);
}

ComPtr<IQBPacket> CStreamQueues::TakePacket(std::uint16_t& stream) {
  ComPtr<IQBPacket> packet = m_MergeSorter.TakeNextPacket(stream);
  m_Waiting.Remove(stream);
  m_Idle.Add(stream);
  return packet;
}

bool CStreamQueues::IsDrained(std::uint16_t stream) const {
  return m_MergeSorter.IsStreamEnded(stream) && m_MergeSorter.GetQueuedCount(stream) == 0 && !IsDone(stream);
}

void CStreamQueues::SetDone(std::uint16_t stream) {
  m_Idle.Remove(stream);
  m_Waiting.Remove(stream);
}

void CStreamQueues::SetPacketType(std::uint16_t stream, bool isRtp) {
  m_TypeKnown.Add(stream);
  if (isRtp) m_RTP.Add(stream);
}

void CStreamQueues::Restart() {
  m_Idle = StreamSet::OfFirst(m_ulStreamCount);
  m_Waiting = StreamSet();
  for (FLVStreamState& state : std::span(m_pStreams.get(), m_ulStreamCount)) state = FLVStreamState();
}

bool CStreamQueues::FindRestartOffset(std::uint32_t& offset) const {
  const FLVStreamState* earliest = nullptr;
  for (const FLVStreamState& state : std::span(m_pStreams.get(), m_ulStreamCount)) {
    if (!state.bSeekPositionFound) continue;
    if (earliest == nullptr || state.ulSeekOffset < earliest->ulSeekOffset) earliest = &state;
  }
  if (earliest == nullptr) return false;
  offset = earliest->ulSeekOffset;
  return true;
}

}  // namespace qbflv
