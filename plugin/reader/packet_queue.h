// A queue of packets with their times, in arrival order.
#pragma once

#include <cstdint>

#include "plugin/shell/host_interfaces.h"
#include "plugin/util/com_ptr.h"
#include "plugin/util/owned.h"

namespace qbflv {

/// What the merge sorter needs to know about a packet.
struct PacketFacts {
  /// Stands for the size of a packet that was lost: it keeps its place but says nothing about times and bytes.
  static constexpr std::uint32_t kLost = 0xFFFFFFFF;

  [[nodiscard]] bool IsLost() const { return bytes == kLost; }

  /// In ms; without meaning for a lost packet.
  std::uint32_t time = 0;
  /// Size of its buffer, or kLost; may be 0 without a limit of bytes.
  std::uint32_t bytes = 0;
};

struct QueuedPacket {
  ComPtr<IQBPacket> packet;
  PacketFacts facts;
};

/// A ring. The first few packets need no allocation and lie beside the rest of the queue in memory: that is all that
/// most files ever need.
class PacketQueue {
 public:
  [[nodiscard]] bool IsEmpty() const { return m_ulCount == 0; }
  [[nodiscard]] std::uint32_t GetCount() const { return m_ulCount; }
  /// Not of an empty queue.
  [[nodiscard]] const QueuedPacket& GetHead() const { return Slots()[m_ulHead]; }
  /// False, with the packet left to the caller, on allocation failure.
  [[nodiscard]] bool Append(ComPtr<IQBPacket>&& packet, PacketFacts facts);
  /// Not of an empty queue.
  ComPtr<IQBPacket> RemoveHead();

 private:
  static constexpr std::uint32_t kInlineSlots = 4;

  [[nodiscard]] QueuedPacket* Slots() { return m_pGrownSlots ? m_pGrownSlots.get() : m_InlineSlots; }
  [[nodiscard]] const QueuedPacket* Slots() const { return m_pGrownSlots ? m_pGrownSlots.get() : m_InlineSlots; }
  [[nodiscard]] bool Grow();

  std::uint32_t m_ulHead = 0;
  std::uint32_t m_ulCount = 0;
  /// A power of two.
  std::uint32_t m_ulCapacity = kInlineSlots;
  /// Null while the slots below suffice.
  OwnedArray<QueuedPacket> m_pGrownSlots;
  QueuedPacket m_InlineSlots[kInlineSlots];
};

}  // namespace qbflv
