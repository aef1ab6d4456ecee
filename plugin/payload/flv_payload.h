// A payload format decides what the host receives: how the streams are numbered, what their headers say, and how a tag
// becomes a packet.
#pragma once

#include <cstdint>
#include <span>

#include "plugin/shell/host_interfaces.h"
#include "plugin/util/com_ptr.h"
#include "plugin/util/flv_records.h"

namespace qbflv {

/// No packet comes of this tag; it is dropped and reading goes on. Not an error.
inline constexpr Status kNoPacket = MakeStatus(0x80000006);

/// What a payload format asks of the reader that owns it: the parts of a stream header that every format shares.
class CFLVPayloadOwner {
 public:
  [[nodiscard]] virtual Status BuildAudioStreamHeader(std::uint16_t stream, ComPtr<IQBPropertyList>& list) = 0;
  /// May derive the video bit rate from the file's size.
  [[nodiscard]] virtual Status BuildVideoStreamHeader(std::uint16_t stream, ComPtr<IQBPropertyList>& list) = 0;

  /// Average rates in bits per second; 0 when not known.
  [[nodiscard]] virtual std::uint32_t GetAudioBitRate() const = 0;
  [[nodiscard]] virtual std::uint32_t GetVideoBitRate() const = 0;

 protected:
  ~CFLVPayloadOwner() = default;
};

/// The base of every payload format. The records and bytes that operations receive belong to the reader and are valid
/// during the call.
///
/// One reader owns it. It is counted all the same, since its operations call the host, which may make the reader give
/// it up meanwhile.
class CFLVPayload {
 public:
  virtual ~CFLVPayload() = default;
  /// owner outlives every call; no reference is held.
  CFLVPayload(IUnknown* context, CFLVPayloadOwner* owner);

  CFLVPayload(const CFLVPayload&) = delete;
  CFLVPayload& operator=(const CFLVPayload&) = delete;

  /// Bytes of each tag body that delivery reads together with the tag header.
  virtual std::uint32_t GetTagPrefixSize() { return 1; }
  /// Numbers the streams and answers their count: audio, when announced, is 0, and video is the next.
  virtual std::uint32_t InitStreams(const FLVFileHeader& header);
  /// Hands out a stream's header. After a failure the list may hold what was made of it.
  virtual Status GetStreamHeader(std::uint16_t stream, ComPtr<IQBPropertyList>& list) = 0;
  /// The three packet makers put the body, as the read returned it, into a new packet.
  virtual Status CreateVideoPacket(const FLVTagHeader& tag, const FLVVideoTagHeader& video, IQBBuffer* body,
                                   ComPtr<IQBPacket>& packet, std::uint16_t& stream) = 0;
  virtual Status CreateAudioPacket(const FLVTagHeader& tag, const FLVAudioTagHeader& audio, IQBBuffer* body,
                                   ComPtr<IQBPacket>& packet, std::uint16_t& stream) = 0;
  virtual Status CreateOtherPacket(const FLVTagHeader& tag, IQBBuffer* body, ComPtr<IQBPacket>& packet,
                                   std::uint16_t& stream) = 0;
  /// The header scan shows its tags; data is what follows the audio or video tag header, never empty.
  virtual Status OnAudioScanTag(const FLVAudioTagHeader& audio, std::span<const std::uint8_t> data);
  virtual Status OnVideoScanTag(const FLVVideoTagHeader& video, std::span<const std::uint8_t> data);
  /// A seek to a time in ms begins. The answer is not looked at.
  virtual Status OnSeek(std::uint32_t time);
  /// The file ended inside a tag header, of which lastRead holds what came. A packet given back is queued.
  virtual Status OnEndOfFile(IQBBuffer* lastRead, ComPtr<IQBPacket>& packet);
  /// The reader ends a stream: endReached is 1 at the end of the data, 0 at its unit limit.
  virtual Status OnStreamEnd(std::uint16_t stream, std::uint32_t endReached);
  virtual Status Close() { return kOk; }
  /// Whether the format has seen enough audio tags; 0 keeps the header scan going.
  virtual BOOL IsAudioInfoComplete() { return 1; }
  /// Not 0 for a tag whose body is passed over.
  virtual BOOL IsSkippedTagType(std::uint8_t tagType);
  /// The stream that a tag type goes to, or kNoStream.
  virtual std::uint16_t GetStreamForTagType(std::uint8_t tagType);
  /// Whether a stream may end before the data does, by its last timestamp or the unit limit.
  virtual BOOL AllowsEarlyStreamEnd() { return 1; }
  /// Whether a video packet counts toward the unit limit.
  virtual BOOL IsCountedUnit(IQBPacket* packet);
  /// A video packet's time in ms, to compare with the stream's last one. 0 without a packet.
  virtual BOOL GetPacketTime(IQBPacket* packet, std::uint32_t& time);
  /// The picture size, for a format that knows one of its own; asked while the reader does not know it.
  virtual Status GetFrameSize(std::uint32_t* width, std::uint32_t* height);

  void AddRef() { ++m_ulRefCount; }
  void Release();

 private:
  std::uint32_t m_ulRefCount = 0;

 protected:
  ComPtr<IUnknown> m_pContext;
  CFLVPayloadOwner* m_pOwner;
  std::uint32_t m_ulStreamCount = 0;
  std::uint16_t m_uAudioStream = kNoStream;
  std::uint16_t m_uVideoStream = kNoStream;
};

}  // namespace qbflv
