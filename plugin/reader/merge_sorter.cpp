#include "plugin/reader/merge_sorter.h"

#include <utility>

namespace qbflv {

namespace {

bool IsEarlier(std::uint32_t time, std::uint32_t than) { return static_cast<std::int32_t>(than - time) > 0; }

std::uint32_t GetBufferSize(IQBPacket* packet) {
  const auto buffer = ComPtr<IQBBuffer>::Adopt(packet->GetPacketBuffer());
  return buffer ? buffer->GetSize() : 0;
}

}  // namespace

bool CMergeSorter::MergeSorterQueue::Append(ComPtr<IQBPacket>&& packet, PacketFacts facts) {
  if (!packets.Append(std::move(packet), facts)) return false;
  if (facts.lost) return true;
  if (packets.GetCount() == 1 || !bHeadTimeSet) {
    ulHeadTime = facts.time;
    bHeadTimeSet = true;
  }
  ulTailTime = facts.time;
  ulBytes += facts.bytes;
  return true;
}

ComPtr<IQBPacket> CMergeSorter::MergeSorterQueue::RemoveHead() {
  const std::uint32_t bytes = packets.GetHead().facts.bytes;
  ComPtr<IQBPacket> packet = packets.RemoveHead();
  if (packets.IsEmpty()) {
    ulHeadTime = ulTailTime;
  } else if (!packets.GetHead().facts.lost) {
    ulHeadTime = packets.GetHead().facts.time;
  }
  ulBytes -= bytes < ulBytes ? bytes : ulBytes;
  return packet;
}

void CMergeSorter::MergeSorterQueue::Reset() {
  ulHeadTime = 0;
  ulTailTime = 0;
  ulBytes = 0;
  bEnded = false;
  bHeadTimeSet = false;
}

Status CMergeSorter::Initialize(std::uint32_t streamCount, const MergeSorterLimits& limits) {
  if (streamCount == 0) return kInvalidArgument;
  OwnedArray<MergeSorterQueue> queues = MakeArray<MergeSorterQueue>(streamCount);
  if (!queues) return kOutOfMemory;
  m_pQueues = std::move(queues);
  m_ulStreamCount = streamCount;
  m_ulPackets = 0;
  m_ulWaiting = streamCount;
  m_Limits = limits;
  UpdateNext();
  return kOk;
}

Status CMergeSorter::AddPacket(ComPtr<IQBPacket> packet) {
  const std::uint32_t stream = packet->GetStreamNumber();
  PacketFacts facts;
  facts.lost = packet->IsLost() != 0;
  if (!facts.lost) {
    facts.time = packet->GetTime();
    facts.bytes = GetBufferSize(packet.Get());
  }
  return AddPacket(std::move(packet), stream, facts);
}

Status CMergeSorter::AddPacket(ComPtr<IQBPacket>&& packet, std::uint32_t stream, PacketFacts facts) {
  if (!m_pQueues) return kInvalidState;
  if (stream >= m_ulStreamCount) return kInvalidArgument;
  MergeSorterQueue& queue = m_pQueues[stream];
  const bool wasWaiting = queue.IsWaiting();
  if (!queue.Append(std::move(packet), facts)) return kOutOfMemory;
  ++m_ulPackets;
  if (wasWaiting) --m_ulWaiting;
  UpdateNext();
  return kOk;
}

Status CMergeSorter::GetNextPacket(ComPtr<IQBPacket>& packet, bool remove) {
  packet = nullptr;
  if (m_NextStatus != kOk) return m_NextStatus;
  packet = remove ? TakeNextPacket() : m_pQueues[m_uNextStream].packets.GetHead().packet;
  return kOk;
}

ComPtr<IQBPacket> CMergeSorter::RemoveHead(MergeSorterQueue& queue) {
  ComPtr<IQBPacket> packet = queue.RemoveHead();
  --m_ulPackets;
  if (queue.IsWaiting()) ++m_ulWaiting;
  UpdateNext();
  return packet;
}

/// Ties between heads go to the lower stream number.
Status CMergeSorter::ChooseNext(std::uint16_t& stream) const {
  if (m_ulPackets == 0) return m_ulWaiting == 0 ? kAllStreamsEnded : kMustWait;
  std::uint32_t i = 0;
  while (m_pQueues[i].packets.IsEmpty()) ++i;
  std::uint32_t next = i;
  std::uint32_t earliestHead = m_pQueues[i].ulHeadTime;
  std::uint32_t latestTail = m_pQueues[i].ulTailTime;
  while (++i < m_ulStreamCount) {
    const MergeSorterQueue& queue = m_pQueues[i];
    if (queue.packets.IsEmpty()) continue;
    if (IsEarlier(latestTail, queue.ulTailTime)) latestTail = queue.ulTailTime;
    if (!IsEarlier(queue.ulHeadTime, earliestHead)) continue;
    earliestHead = queue.ulHeadTime;
    next = i;
  }
  stream = static_cast<std::uint16_t>(next);
  if (m_ulWaiting == 0) return kOk;
  const auto timespan = static_cast<std::int32_t>(latestTail - earliestHead);
  const bool limitPassed = std::int64_t{timespan} > std::int64_t{m_Limits.maxTimespan} ||
                           m_ulPackets > m_Limits.maxPackets || IsByteLimitPassed();
  return limitPassed ? kOk : kMustWait;
}

bool CMergeSorter::IsByteLimitPassed() const {
  if (m_Limits.maxBytes == kNoByteLimit) return false;
  std::uint32_t bytes = 0;
  for (std::uint32_t i = 0; i < m_ulStreamCount; ++i) bytes += m_pQueues[i].ulBytes;
  return bytes > m_Limits.maxBytes;
}

Status CMergeSorter::SetStreamEnded(std::uint32_t stream) {
  if (!m_pQueues) return kInvalidState;
  if (stream >= m_ulStreamCount) return kInvalidArgument;
  MergeSorterQueue& queue = m_pQueues[stream];
  if (queue.IsWaiting()) --m_ulWaiting;
  queue.bEnded = true;
  UpdateNext();
  return kOk;
}

/// The state is consistent at each release, and no reference to a queue is held across it: the host may close the
/// object there.
void CMergeSorter::Flush() {
  m_ulWaiting = 0;
  for (std::uint32_t i = 0; i < m_ulStreamCount; ++i) {
    m_pQueues[i].Reset();
    if (m_pQueues[i].IsWaiting()) ++m_ulWaiting;
  }
  while (RemoveAny()) continue;
}

ComPtr<IQBPacket> CMergeSorter::RemoveAny() {
  for (std::uint32_t i = 0; i < m_ulStreamCount; ++i) {
    if (!m_pQueues[i].packets.IsEmpty()) return RemoveHead(m_pQueues[i]);
  }
  if (m_pQueues) UpdateNext();
  return nullptr;
}

}  // namespace qbflv
