// The base of the payload formats. A payload format numbers the streams, builds their headers and makes packets from
// tags.
#pragma once

#include <cstdint>
#include <span>

#include "plugin/reader/flv_records.h"
#include "plugin/shell/host_interfaces.h"
#include "plugin/util/com_ptr.h"

namespace qbflv {

/// The tag makes no packet. Not an error: the reader continues with the next tag.
inline constexpr Status kNoPacket = MakeStatus(0x80000006);

/// What ended a stream, see OnStreamEnd.
inline constexpr std::uint32_t kEndReached = 1;
inline constexpr std::uint32_t kLimitReached = 0;

/// A packet with what the reader needs to know about it.
struct PayloadPacket {
  ComPtr<IQBPacket> packet;
  std::uint16_t stream = kNoStream;
  /// In ms.
  std::uint32_t time = 0;
};

/// What a payload format needs from the reader that owns it: the properties that the stream headers of all formats
/// share.
class CFLVPayloadOwner {
 public:
  [[nodiscard]] virtual Status BuildAudioStreamHeader(std::uint16_t stream, ComPtr<IQBPropertyList>& list) = 0;
  /// May estimate the video bit rate from the file size.
  [[nodiscard]] virtual Status BuildVideoStreamHeader(std::uint16_t stream, ComPtr<IQBPropertyList>& list) = 0;

  /// Average rates in bits per second; 0 if unknown.
  [[nodiscard]] virtual std::uint32_t GetAudioBitRate() const = 0;
  [[nodiscard]] virtual std::uint32_t GetVideoBitRate() const = 0;

 protected:
  ~CFLVPayloadOwner() = default;
};

/// The base of every payload format. The records and bytes that operations receive belong to the reader and are valid
/// during the call.
///
/// One reader owns it. It has a reference count because its operations call the host, which may make the reader release
/// it during the call.
class CFLVPayload {
 public:
  virtual ~CFLVPayload() = default;
  /// Keeps a reference to context and none to owner. REQUIRES: owner outlives every call.
  CFLVPayload(IUnknown* context, CFLVPayloadOwner* owner);

  CFLVPayload(const CFLVPayload&) = delete;
  CFLVPayload& operator=(const CFLVPayload&) = delete;

  /// Returns the number of bytes of each tag body that delivery reads together with the tag header.
  virtual std::uint32_t GetTagPrefixSize() { return 1; }
  /// Numbers the streams that the header announces, first audio, then video. Returns the number of streams.
  virtual std::uint32_t InitStreams(const FLVFileHeader& header);
  /// Builds the header of a stream. After a failure the list may hold an incomplete header.
  virtual Status GetStreamHeader(std::uint16_t stream, ComPtr<IQBPropertyList>& list) = 0;
  /// The next three operations put a tag body, the unchanged buffer of the read, into a new packet. They return
  /// kNoPacket if the tag makes no packet.
  virtual Status CreateVideoPacket(const FLVTagHeader& tag, const FLVVideoTagHeader& video, IQBBuffer* body,
                                   PayloadPacket& made) = 0;
  virtual Status CreateAudioPacket(const FLVTagHeader& tag, const FLVAudioTagHeader& audio, IQBBuffer* body,
                                   PayloadPacket& made) = 0;
  virtual Status CreateOtherPacket(const FLVTagHeader& tag, IQBBuffer* body, PayloadPacket& made) = 0;
  /// The header scan calls it for each audio tag. data: the bytes after the audio tag header, never empty.
  virtual Status OnAudioScanTag(const FLVAudioTagHeader& audio, std::span<const std::uint8_t> data);
  /// Like OnAudioScanTag, for video tags.
  virtual Status OnVideoScanTag(const FLVVideoTagHeader& video, std::span<const std::uint8_t> data);
  /// A seek to a time in ms begins. The reader ignores the status.
  virtual Status OnSeek(std::uint32_t time);
  /// The file ended inside a tag header; lastRead holds the bytes that came. The reader queues the packet if not null.
  virtual Status OnEndOfFile(IQBBuffer* lastRead, ComPtr<IQBPacket>& packet);
  /// The reader ends a stream. endReached: kEndReached at the end of the data, kLimitReached at the unit limit.
  virtual Status OnStreamEnd(std::uint16_t stream, std::uint32_t endReached);
  virtual Status Close() { return kOk; }
  /// Returns 0 if the format needs more audio tags; the header scan then continues.
  virtual BOOL IsAudioInfoComplete() { return 1; }
  /// Returns 1 if the reader skips the body of such a tag.
  virtual BOOL IsSkippedTagType(std::uint8_t tagType);
  /// Returns the stream of a tag type, or kNoStream.
  virtual std::uint16_t GetStreamForTagType(std::uint8_t tagType);
  /// Returns 1 if a stream may end before the end of the data, at its last timestamp or at the unit limit.
  virtual BOOL AllowsEarlyStreamEnd() { return 1; }
  /// Returns 1 if a video packet counts as a unit.
  virtual BOOL IsCountedUnit(IQBPacket* packet);
  /// Stores the time of a packet in ms and returns 1. Returns 0 without a packet. The reader does not call it: it uses
  /// the time that came with the packet.
  virtual BOOL GetPacketTime(IQBPacket* packet, std::uint32_t& time);
  /// Stores the picture size if the format knows it. The reader calls it until it knows the size. Returns kInvalidState
  /// if a pointer is null, and kFailed if the size is unknown.
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
