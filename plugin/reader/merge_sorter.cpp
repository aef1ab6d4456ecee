#include "plugin/reader/merge_sorter.h"

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

ComPtr<IQBPacket> CMergeSorter::MergeSorterQueue::RemoveHead() {
  auto packet = ComPtr<IQBPacket>::Adopt(GetHead());
  packets.RemoveAt(packets.GetHead());
  if (IsEmpty()) {
    ulHeadTime = ulTailTime;
  } else if (GetHead()->IsLost() == 0) {
    ulHeadTime = GetHead()->GetTime();
  }
  if (packet->IsLost() == 0) {
    const std::uint32_t size = GetBufferSize(packet.Get());
    ulBytes -= size < ulBytes ? size : ulBytes;
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
  m_pQueues = nullptr;
  m_pQueues = MakeArray<MergeSorterQueue>(streamCount);
  return m_pQueues ? kOk : kOutOfMemory;
}

Status CMergeSorter::AddPacket(IQBPacket* packet) {
  if (!m_pQueues) return kInvalidState;
  const std::uint32_t stream = packet->GetStreamNumber();
  if (stream >= m_ulStreamCount) return kInvalidArgument;

  MergeSorterQueue& queue = m_pQueues[stream];
  const bool wasEmpty = queue.IsEmpty();
  auto kept = ComPtr<IQBPacket>::Retain(packet);
  if (queue.packets.InsertAfter(nullptr, packet) == nullptr) return kOutOfMemory;
  static_cast<void>(kept.Detach());  // the reference is the queue's now
  // A packet that was lost keeps its place but says nothing of the queue's times and bytes.
  if (packet->IsLost() != 0) return kOk;
  const std::uint32_t time = packet->GetTime();
  if (wasEmpty || !queue.bHeadTimeSet) {
    queue.ulHeadTime = time;
    queue.bHeadTimeSet = true;
  }
  queue.ulTailTime = time;
  queue.ulBytes += GetBufferSize(packet);
  return kOk;
}

Status CMergeSorter::GetNextPacket(ComPtr<IQBPacket>& packet, bool remove) {
  packet = nullptr;
  if (!m_pQueues) return kInvalidState;
  const Survey survey = SurveyQueues();
  if (survey.candidate == nullptr) return survey.waiting ? kMustWait : kAllStreamsEnded;
  if (survey.waiting && !IsLimitPassed(survey)) return kMustWait;
  packet = remove ? survey.candidate->RemoveHead() : ComPtr<IQBPacket>::Retain(survey.candidate->GetHead());
  return kOk;
}

/// Ties between heads go to the lower stream number.
CMergeSorter::Survey CMergeSorter::SurveyQueues() const {
  Survey survey;
  for (std::uint32_t i = 0; i < m_ulStreamCount; ++i) {
    MergeSorterQueue& queue = m_pQueues[i];
    if (queue.IsEmpty()) {
      survey.waiting = survey.waiting || !queue.bEnded;
      continue;
    }
    survey.packets += static_cast<std::uint32_t>(queue.packets.GetCount());
    survey.bytes += queue.ulBytes;
    if (survey.candidate == nullptr || IsEarlier(survey.latestTail, queue.ulTailTime)) {
      survey.latestTail = queue.ulTailTime;
    }
    if (survey.candidate == nullptr || IsEarlier(queue.ulHeadTime, survey.candidate->ulHeadTime)) {
      survey.candidate = &queue;
    }
  }
  return survey;
}

bool CMergeSorter::IsLimitPassed(const Survey& survey) const {
  const auto timespan = static_cast<std::int32_t>(survey.latestTail - survey.candidate->ulHeadTime);
  return std::int64_t{timespan} > std::int64_t{m_Limits.maxTimespan} || survey.packets > m_Limits.maxPackets ||
         survey.bytes > m_Limits.maxBytes;
}

Status CMergeSorter::SetStreamEnded(std::uint32_t stream) {
  if (!m_pQueues) return kInvalidState;
  if (stream >= m_ulStreamCount) return kInvalidArgument;
  m_pQueues[stream].bEnded = true;
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
}

}  // namespace qbflv
