#include "plugin/reader/merge_sorter.h"

#include <algorithm>
#include <span>
#include <utility>

namespace qbflv {

namespace {

bool IsEarlier(std::uint32_t time, std::uint32_t than) { return static_cast<std::int32_t>(than - time) > 0; }

std::uint32_t GetBufferSize(IQBPacket* packet) {
  const auto buffer = ComPtr<IQBBuffer>::Adopt(packet->GetPacketBuffer());
  return buffer ? std::min(buffer->GetSize(), PacketFacts::kLost - 1) : 0;
}

}  // namespace

bool CMergeSorter::MergeSorterQueue::Append(ComPtr<IQBPacket>&& packet, PacketFacts facts) {
  if (!packets.Append(std::move(packet), facts)) return false;
  if (facts.IsLost()) return true;
  if (packets.GetCount() == 1 || !bHeadTimeSet) {
    ulHeadTime = facts.time;
    bHeadTimeSet = true;
  }
  ulTailTime = facts.time;
  return true;
}

ComPtr<IQBPacket> CMergeSorter::MergeSorterQueue::RemoveHead() {
  ComPtr<IQBPacket> packet = packets.RemoveHead();
  if (packets.IsEmpty()) {
    ulHeadTime = ulTailTime;
  } else if (!packets.GetHead().facts.IsLost()) {
    ulHeadTime = packets.GetHead().facts.time;
  }
  return packet;
}

void CMergeSorter::MergeSorterQueue::Reset() {
  ulHeadTime = 0;
  ulTailTime = 0;
  bEnded = false;
  bHeadTimeSet = false;
}

Status CMergeSorter::Initialize(std::uint32_t streamCount, const MergeSorterLimits& limits) {
  if (streamCount == 0) return kInvalidArgument;
  OwnedArray<MergeSorterQueue> queues = MakeArray<MergeSorterQueue>(streamCount);
  if (!queues) return kOutOfMemory;
  for (std::uint32_t i = 0; i < streamCount; ++i) queues[i].uStream = static_cast<std::uint16_t>(i);
  m_pQueues = std::move(queues);
  m_ulStreamCount = streamCount;
  m_ulPackets = 0;
  m_ulBytes = 0;
  m_ulWaiting = streamCount;
  m_Limits = limits;
  UpdateNext();
  return kOk;
}

Status CMergeSorter::AddPacket(ComPtr<IQBPacket> packet) {
  const std::uint32_t stream = packet->GetStreamNumber();
  PacketFacts facts;
  if (packet->IsLost() != 0) {
    facts.bytes = PacketFacts::kLost;
  } else {
    facts.time = packet->GetTime();
    facts.bytes = GetBufferSize(packet.Get());
  }
  return AddPacket(std::move(packet), stream, facts);
}

Status CMergeSorter::AddPacket(ComPtr<IQBPacket>&& packet, std::uint32_t stream, PacketFacts facts) {
  if (stream >= m_ulStreamCount) return m_pQueues ? kInvalidArgument : kInvalidState;
  MergeSorterQueue& queue = m_pQueues[stream];
  const bool wasWaiting = queue.IsWaiting();
  if (!queue.Append(std::move(packet), facts)) return kOutOfMemory;
  ++m_ulPackets;
  if (!facts.IsLost()) m_ulBytes += facts.bytes;
  if (wasWaiting) --m_ulWaiting;
  UpdateNext();
  return kOk;
}

Status CMergeSorter::GetNextPacket(ComPtr<IQBPacket>& packet, bool remove) {
  packet = nullptr;
  if (m_NextStatus != kOk) return m_NextStatus;
  packet = remove ? RemoveHead(*m_pNext) : m_pNext->packets.GetHead().packet;
  return kOk;
}

ComPtr<IQBPacket> CMergeSorter::RemoveHead(MergeSorterQueue& queue) {
  const PacketFacts facts = queue.packets.GetHead().facts;
  ComPtr<IQBPacket> packet = queue.RemoveHead();
  --m_ulPackets;
  if (!facts.IsLost()) m_ulBytes -= facts.bytes;
  if (queue.IsWaiting()) ++m_ulWaiting;
  UpdateNext();
  return packet;
}

/// Ties between heads go to the lower stream number.
void CMergeSorter::UpdateNext() {
  if (m_ulPackets == 0) {
    m_NextStatus = m_ulWaiting == 0 ? kAllStreamsEnded : kMustWait;
    return;
  }
  MergeSorterQueue* next = nullptr;
  std::uint32_t latestTail = 0;
  for (MergeSorterQueue& queue : std::span(m_pQueues.get(), m_ulStreamCount)) {
    if (queue.packets.IsEmpty()) continue;
    if (next == nullptr || IsEarlier(latestTail, queue.ulTailTime)) latestTail = queue.ulTailTime;
    if (next == nullptr || IsEarlier(queue.ulHeadTime, next->ulHeadTime)) next = &queue;
  }
  m_pNext = next;
  m_NextStatus = m_ulWaiting == 0 || IsLimitPassed(latestTail - next->ulHeadTime) ? kOk : kMustWait;
}

/// timespan: in ms between the earliest head and the latest tail; tails may be before it.
bool CMergeSorter::IsLimitPassed(std::uint32_t timespan) const {
  return std::int64_t{static_cast<std::int32_t>(timespan)} > std::int64_t{m_Limits.maxTimespan} ||
         m_ulPackets > m_Limits.maxPackets || m_ulBytes > m_Limits.maxBytes;
}

Status CMergeSorter::SetStreamEnded(std::uint32_t stream) {
  if (stream >= m_ulStreamCount) return m_pQueues ? kInvalidArgument : kInvalidState;
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
