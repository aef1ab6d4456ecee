// Queues the packets of all streams and releases them in time order across the streams.
#pragma once

#include <cstdint>

#include "plugin/shell/host_interfaces.h"
#include "plugin/util/com_ptr.h"
#include "plugin/util/owned.h"
#include "plugin/util/simple_list.h"

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

/// Times are compared as 32-bit serial numbers, so that timestamps may wrap. Operations before Initialize answer
/// kInvalidState, stream numbers out of range kInvalidArgument.
class CMergeSorter {
 public:
  /// kInvalidArgument for no streams, and nothing changes; kOutOfMemory leaves it without queues.
  [[nodiscard]] Status Initialize(std::uint32_t streamCount, const MergeSorterLimits& limits);
  /// Queues the packet under its stream number.
  [[nodiscard]] Status AddPacket(ComPtr<IQBPacket> packet);
  /// kOk with the next packet, removed from its queue or left in it; or kMustWait or kAllStreamsEnded with none.
  [[nodiscard]] Status GetNextPacket(ComPtr<IQBPacket>& packet, bool remove);
  /// The same without the packet: the stream that it is of.
  [[nodiscard]] Status FindNextPacket(std::uint16_t& stream) const {
    stream = m_uNextStream;
    return m_NextStatus;
  }
  /// No more packets will come for the stream: it makes the others wait no longer.
  Status SetStreamEnded(std::uint32_t stream);
  [[nodiscard]] bool IsStreamEnded(std::uint32_t stream) const;
  [[nodiscard]] std::uint32_t GetQueuedCount(std::uint32_t stream) const;
  /// Drops every packet and forgets which streams have ended.
  void Flush();

 private:
  struct MergeSorterQueue {
    MergeSorterQueue() = default;
    ~MergeSorterQueue() { Clear(); }
    MergeSorterQueue(const MergeSorterQueue&) = delete;
    MergeSorterQueue& operator=(const MergeSorterQueue&) = delete;

    [[nodiscard]] bool IsEmpty() const { return packets.GetCount() == 0; }
    [[nodiscard]] IQBPacket* GetHead() const;
    /// False when the memory cannot be had.
    [[nodiscard]] bool Append(ComPtr<IQBPacket> packet);
    /// The packet appended last is one that counts.
    void CountTail(std::uint32_t time, std::uint32_t bytes);
    ComPtr<IQBPacket> RemoveHead();
    void Clear();

    /// In arrival order; each value is a packet with one reference.
    CQBSimpleList packets;
    std::uint32_t ulHeadTime = 0;
    std::uint32_t ulTailTime = 0;
    /// Stays 0 without a limit.
    std::uint32_t ulBytes = 0;
    bool bEnded = false;
    /// The head time has been taken since the last flush.
    bool bHeadTimeSet = false;
  };

  void UpdateNext();
  [[nodiscard]] Status ChooseNext(std::uint16_t& stream) const;
  [[nodiscard]] ComPtr<IQBPacket> TakeHead(MergeSorterQueue& queue);
  /// Each packet would have to be asked twice for its buffer, for nothing when there is no limit.
  [[nodiscard]] bool CountsBytes() const { return m_Limits.maxBytes != kNoByteLimit; }

  std::uint32_t m_ulStreamCount = 0;
  MergeSorterLimits m_Limits;
  OwnedArray<MergeSorterQueue> m_pQueues;
  /// The next packet, decided whenever a queue changes: it is asked for more often than that.
  Status m_NextStatus = kInvalidState;
  std::uint16_t m_uNextStream = 0;
};

}  // namespace qbflv
