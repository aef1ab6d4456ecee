// Queues the packets of all streams and releases them in time order across the streams.
#pragma once

#include <cstdint>

#include "plugin/reader/packet_queue.h"
#include "plugin/shell/host_interfaces.h"
#include "plugin/util/com_ptr.h"
#include "plugin/util/owned.h"

namespace qbflv {

/// Success codes of GetNextPacket: a stream that has not ended has nothing queued; nothing is queued and every stream
/// has ended.
inline constexpr Status kMustWait = MakeStatus(0x00040042);
inline constexpr Status kAllStreamsEnded = MakeStatus(0x00040043);

/// Limits beyond which packets are released although a stream has nothing queued.
struct MergeSorterLimits {
  std::uint32_t maxPackets = 0;
  /// ms between the earliest head and the latest tail.
  std::uint32_t maxTimespan = 0;
  /// Of the packets' buffers, or kNoByteLimit.
  std::uint32_t maxBytes = 0;
};

inline constexpr std::uint32_t kNoByteLimit = 0xFFFFFFFF;

/// Times are compared as 32-bit serial numbers, so that timestamps may wrap. Operations before Initialize return
/// kInvalidState, stream numbers out of range kInvalidArgument.
class CMergeSorter {
 public:
  /// kInvalidArgument for no streams, kOutOfMemory on allocation failure; nothing changes on either.
  [[nodiscard]] Status Initialize(std::uint32_t streamCount, const MergeSorterLimits& limits);
  [[nodiscard]] bool IsInitialized() const { return static_cast<bool>(m_pQueues); }
  /// Queues the packet under the stream number and the time that it tells.
  [[nodiscard]] Status AddPacket(ComPtr<IQBPacket> packet);
  /// The same with what the caller knows about the packet. A failure leaves the packet to the caller.
  [[nodiscard]] Status AddPacket(ComPtr<IQBPacket>&& packet, std::uint32_t stream, PacketFacts facts);
  /// kOk with the next packet, removed from its queue or left in it; or kMustWait or kAllStreamsEnded with none.
  [[nodiscard]] Status GetNextPacket(ComPtr<IQBPacket>& packet, bool remove);
  /// The same for the stream of the next packet.
  [[nodiscard]] Status FindNextPacket(std::uint16_t& stream) const {
    if (m_NextStatus == kOk) stream = m_pNext->uStream;
    return m_NextStatus;
  }
  /// Removes the packet that FindNextPacket has found.
  [[nodiscard]] ComPtr<IQBPacket> TakeNextPacket(std::uint16_t& stream) {
    stream = m_pNext->uStream;
    return RemoveHead(*m_pNext);
  }
  /// No more packets will come for the stream: the other streams no longer wait for it.
  Status SetStreamEnded(std::uint32_t stream);
  [[nodiscard]] bool IsStreamEnded(std::uint32_t stream) const {
    return stream < m_ulStreamCount && m_pQueues[stream].bEnded;
  }
  [[nodiscard]] std::uint32_t GetQueuedCount(std::uint32_t stream) const {
    return stream < m_ulStreamCount ? m_pQueues[stream].packets.GetCount() : 0;
  }
  /// Releases every packet and forgets which streams have ended. Each release may call back into the sorter's owner.
  void Flush();

 private:
  struct MergeSorterQueue {
    /// Queues the packet and takes its time into account. False on allocation failure.
    [[nodiscard]] bool Append(ComPtr<IQBPacket>&& packet, PacketFacts facts);
    [[nodiscard]] ComPtr<IQBPacket> RemoveHead();
    /// As after construction, but for the packets.
    void Reset();
    /// Nothing is queued, and more packets may come.
    [[nodiscard]] bool IsWaiting() const { return packets.IsEmpty() && !bEnded; }

    std::uint32_t ulHeadTime = 0;
    std::uint32_t ulTailTime = 0;
    std::uint16_t uStream = 0;
    bool bEnded = false;
    /// The head time has been set since the last flush.
    bool bHeadTimeSet = false;
    PacketQueue packets;
  };

  void UpdateNext();
  [[nodiscard]] bool IsLimitPassed(std::uint32_t timespan) const;
  [[nodiscard]] ComPtr<IQBPacket> RemoveHead(MergeSorterQueue& queue);
  [[nodiscard]] ComPtr<IQBPacket> RemoveAny();

  OwnedArray<MergeSorterQueue> m_pQueues;
  std::uint32_t m_ulStreamCount = 0;
  /// The queue of the next packet. It is computed when a queue changes, because it is queried more often than that.
  Status m_NextStatus = kInvalidState;
  MergeSorterQueue* m_pNext = nullptr;
  /// Packets in all queues, their bytes, and queues that wait for a packet.
  std::uint32_t m_ulPackets = 0;
  std::uint32_t m_ulBytes = 0;
  std::uint32_t m_ulWaiting = 0;
  MergeSorterLimits m_Limits;
};

}  // namespace qbflv
