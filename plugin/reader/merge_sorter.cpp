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

IQBPacket* CMergeSorter::MergeSorterQueue::GetHead() const {
  return static_cast<IQBPacket*>(CQBSimpleList::GetAt(packets.GetHead()));
}

bool CMergeSorter::MergeSorterQueue::Append(ComPtr<IQBPacket> packet) {
  if (packets.InsertAfter(nullptr, packet.Get()) == nullptr) return false;
  static_cast<void>(packet.Detach());  // the reference is the queue's now
  return true;
}

void CMergeSorter::MergeSorterQueue::CountTail(std::uint32_t time, std::uint32_t bytes) {
  if (packets.GetCount() == 1 || !bHeadTimeSet) {
    ulHeadTime = time;
    bHeadTimeSet = true;
  }
  ulTailTime = time;
  ulBytes += bytes;
}

ComPtr<IQBPacket> CMergeSorter::MergeSorterQueue::RemoveHead() {
  auto packet = ComPtr<IQBPacket>::Adopt(GetHead());
  packets.RemoveAt(packets.GetHead());
  if (IsEmpty()) {
    ulHeadTime = ulTailTime;
  } else if (GetHead()->IsLost() == 0) {
    ulHeadTime = GetHead()->GetTime();
  }
  return packet;
}

void CMergeSorter::MergeSorterQueue::Clear() {
  while (!IsEmpty()) RemoveHead();
  ulHeadTime = 0;
  ulTailTime = 0;
  ulBytes = 0;
  bEnded = false;
  bHeadTimeSet = false;
}

Status CMergeSorter::Initialize(std::uint32_t streamCount, const MergeSorterLimits& limits) {
  if (streamCount == 0) return kInvalidArgument;
  m_Limits = limits;
  m_ulStreamCount = streamCount;
  m_NextStatus = kInvalidState;
  m_pQueues = nullptr;
  m_pQueues = MakeArray<MergeSorterQueue>(streamCount);
  UpdateNext();
  return m_pQueues ? kOk : kOutOfMemory;
}

Status CMergeSorter::AddPacket(ComPtr<IQBPacket> packet) {
  if (!m_pQueues) return kInvalidState;
  const std::uint32_t stream = packet->GetStreamNumber();
  if (stream >= m_ulStreamCount) return kInvalidArgument;

  MergeSorterQueue& queue = m_pQueues[stream];
  // A packet that was lost keeps its place but says nothing of the queue's times and bytes.
  const bool counts = packet->IsLost() == 0;
  const std::uint32_t time = counts ? packet->GetTime() : 0;
  const std::uint32_t bytes = counts && CountsBytes() ? GetBufferSize(packet.Get()) : 0;
  if (!queue.Append(std::move(packet))) return kOutOfMemory;
  if (counts) queue.CountTail(time, bytes);
  UpdateNext();
  return kOk;
}

Status CMergeSorter::GetNextPacket(ComPtr<IQBPacket>& packet, bool remove) {
  packet = nullptr;
  if (m_NextStatus != kOk) return m_NextStatus;
  MergeSorterQueue& queue = m_pQueues[m_uNextStream];
  packet = remove ? TakeHead(queue) : ComPtr<IQBPacket>::Retain(queue.GetHead());
  return kOk;
}

ComPtr<IQBPacket> CMergeSorter::TakeHead(MergeSorterQueue& queue) {
  auto packet = queue.RemoveHead();
  if (CountsBytes() && packet->IsLost() == 0) {
    const std::uint32_t size = GetBufferSize(packet.Get());
    queue.ulBytes -= size < queue.ulBytes ? size : queue.ulBytes;
  }
  UpdateNext();
  return packet;
}

void CMergeSorter::UpdateNext() { m_NextStatus = ChooseNext(m_uNextStream); }

/// Ties between heads go to the lower stream number.
Status CMergeSorter::ChooseNext(std::uint16_t& stream) const {
  if (!m_pQueues) return kInvalidState;
  const MergeSorterQueue* next = nullptr;
  bool waiting = false;
  std::uint32_t packets = 0;
  std::uint32_t bytes = 0;
  std::uint32_t latestTail = 0;
  for (std::uint32_t i = 0; i < m_ulStreamCount; ++i) {
    const MergeSorterQueue& queue = m_pQueues[i];
    if (queue.IsEmpty()) {
      waiting = waiting || !queue.bEnded;
      continue;
    }
    packets += static_cast<std::uint32_t>(queue.packets.GetCount());
    bytes += queue.ulBytes;
    if (next == nullptr || IsEarlier(latestTail, queue.ulTailTime)) latestTail = queue.ulTailTime;
    if (next == nullptr || IsEarlier(queue.ulHeadTime, next->ulHeadTime)) {
      next = &queue;
      stream = static_cast<std::uint16_t>(i);
    }
  }
  if (next == nullptr) return waiting ? kMustWait : kAllStreamsEnded;
  if (!waiting) return kOk;
  const auto timespan = static_cast<std::int32_t>(latestTail - next->ulHeadTime);
  const bool limitPassed = std::int64_t{timespan} > std::int64_t{m_Limits.maxTimespan} ||
                           packets > m_Limits.maxPackets || bytes > m_Limits.maxBytes;
  return limitPassed ? kOk : kMustWait;
}

Status CMergeSorter::SetStreamEnded(std::uint32_t stream) {
  if (!m_pQueues) return kInvalidState;
  if (stream >= m_ulStreamCount) return kInvalidArgument;
  m_pQueues[stream].bEnded = true;
  UpdateNext();
  return kOk;
}

bool CMergeSorter::IsStreamEnded(std::uint32_t stream) const {
  return m_pQueues && stream < m_ulStreamCount && m_pQueues[stream].bEnded;
}

std::uint32_t CMergeSorter::GetQueuedCount(std::uint32_t stream) const {
  if (!m_pQueues || stream >= m_ulStreamCount) return 0;
  return static_cast<std::uint32_t>(m_pQueues[stream].packets.GetCount());
}

void CMergeSorter::Flush() {
  if (!m_pQueues) return;
  for (std::uint32_t i = 0; i < m_ulStreamCount; ++i) m_pQueues[i].Clear();
  UpdateNext();
}

}  // namespace qbflv
