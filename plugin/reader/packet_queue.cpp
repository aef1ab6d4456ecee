#include "plugin/reader/packet_queue.h"

#include <utility>

namespace qbflv {

bool PacketQueue::Append(ComPtr<IQBPacket>&& packet, PacketFacts facts) {
  if (m_ulCount == m_ulCapacity && !Grow()) return false;
  QueuedPacket& slot = Slots()[(m_ulHead + m_ulCount) & (m_ulCapacity - 1)];
  slot.packet = std::move(packet);
  slot.facts = facts;
  ++m_ulCount;
  return true;
}

ComPtr<IQBPacket> PacketQueue::RemoveHead() {
  ComPtr<IQBPacket> head = std::move(Slots()[m_ulHead].packet);
  m_ulHead = (m_ulHead + 1) & (m_ulCapacity - 1);
  --m_ulCount;
  return head;
}

bool PacketQueue::Grow() {
  OwnedArray<QueuedPacket> slots = MakeArray<QueuedPacket>(m_ulCapacity * 2);
  if (!slots) return false;
  for (std::uint32_t i = 0; i < m_ulCount; ++i) slots[i] = std::move(Slots()[(m_ulHead + i) & (m_ulCapacity - 1)]);
  m_pGrownSlots = std::move(slots);
  m_ulHead = 0;
  m_ulCapacity *= 2;
  return true;
}

}  // namespace qbflv
