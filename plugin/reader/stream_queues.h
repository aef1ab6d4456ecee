// The streams of a file: their records, the packets that wait for delivery, and when a stream ends.
#pragma once

#include <cstdint>

#include "plugin/payload/flv_payload.h"
#include "plugin/reader/merge_sorter.h"
#include "plugin/reader/stream_set.h"
#include "plugin/reader/stream_state.h"
#include "plugin/shell/host_interfaces.h"
#include "plugin/util/com_ptr.h"
#include "plugin/util/owned.h"

namespace qbflv {

/// What decides whether a packet ends its stream before the end of the file.
struct EndRule {
  /// The packet's time is that of the stream's last tag.
  bool isLastTime = false;
  /// Units after which a stream ends ("ProcessTimeUnits"); 0 for no limit.
  std::uint32_t unitLimit = 0;
};

class CStreamQueues {
 public:
  /// Makes the records of so many streams. False, with the old ones kept, on allocation failure. audioStream: kNoStream
  /// without audio.
  [[nodiscard]] bool Create(std::uint32_t streamCount, std::uint16_t audioStream);
  /// 0 before Create.
  [[nodiscard]] std::uint32_t GetCount() const { return m_ulStreamCount; }
  [[nodiscard]] std::uint16_t GetAudioStream() const { return m_uAudioStream; }
  /// stream must be below GetCount.
  [[nodiscard]] FLVStreamState& operator[](std::uint32_t stream) { return m_pStreams[stream]; }

  // --- Requests ---

  /// Opens a request. kInvalidState without such a stream, while a request is open, or when the stream is done.
  [[nodiscard]] Status Request(std::uint32_t stream);
  /// Some stream has an open request.
  [[nodiscard]] bool IsAnyWaiting() const { return !m_Waiting.IsEmpty(); }
  /// Every stream has an open request or is done; also without streams.
  [[nodiscard]] bool AreAllWaitingOrDone() const { return m_Idle.IsEmpty(); }

  // --- Packets ---

  [[nodiscard]] bool HasMergeSorter() const { return m_MergeSorter.IsInitialized(); }
  /// maxTimespan in ms.
  [[nodiscard]] Status CreateMergeSorter(std::uint32_t maxTimespan);
  /// Queues a packet that the payload made, and ends its stream when the rule says so. A failure leaves the packet to
  /// the caller, and so does a stream that has ended.
  [[nodiscard]] Status QueuePacket(PayloadPacket& made, CFLVPayload& payload, const EndRule& rule);
  /// Queues the packet that the payload made of the end of the file, unless stream 0 has ended.
  [[nodiscard]] Status QueueLastPacket(const ComPtr<IQBPacket>& packet);
  /// No more packets of the stream will be queued.
  void SetEnded(std::uint16_t stream) { m_MergeSorter.SetStreamEnded(stream); }
  /// A packet could be delivered, whether or not its stream has an open request.
  [[nodiscard]] bool HasReleasablePacket() const;
  /// The same, and its stream has an open request. Otherwise the packet stays, and so does everything behind it.
  [[nodiscard]] bool HasPacketForRequest() const;
  /// Takes that packet for delivery and closes its stream's request.
  [[nodiscard]] ComPtr<IQBPacket> TakePacket(std::uint16_t& stream);
  /// The stream's last packet was taken and StreamDone has not been sent.
  [[nodiscard]] bool IsDrained(std::uint16_t stream) const;
  /// The stream is done: no more packets and no requests until a seek; its open request is closed.
  void SetDone(std::uint16_t stream);
  [[nodiscard]] bool IsDone(std::uint16_t stream) const { return !m_Idle.Has(stream) && !m_Waiting.Has(stream); }
  /// Whether the stream's packets have an RTP interface, once that is known.
  [[nodiscard]] bool IsPacketTypeKnown(std::uint16_t stream) const { return m_TypeKnown.Has(stream); }
  [[nodiscard]] bool HasRTPPackets(std::uint16_t stream) const { return m_RTP.Has(stream); }
  void SetPacketType(std::uint16_t stream, bool isRtp);

  // --- Seeks ---

  /// Makes every stream live again, without request and restart position.
  void Restart();
  /// Releases the queued packets. Each release may call back.
  void Flush() { m_MergeSorter.Flush(); }
  /// The earliest restart position. False when no stream has one.
  [[nodiscard]] bool FindRestartOffset(std::uint32_t& offset) const;

 private:
  /// The streams without an open request, and those with one. A stream that is done is in neither.
  StreamSet m_Idle;
  StreamSet m_Waiting;
  CMergeSorter m_MergeSorter;
  std::uint32_t m_ulStreamCount = 0;
  std::uint16_t m_uAudioStream = kNoStream;
  StreamSet m_TypeKnown;
  StreamSet m_RTP;
  OwnedArray<FLVStreamState> m_pStreams;
};

}  // namespace qbflv
