// The payload format of a server that relays over RTMP: one packet a tag, holding the tag body as the file has it.
#pragma once

#include "plugin/payload/flv_payload.h"

namespace qbflv {

/// Declares the streams as RTMP payload with a rule book of two rules: rule 0 for key frames and all audio, rule 1 for
/// the other video frames, which depend on it.
class CRTMPPayload final : public CFLVPayload {
 public:
  /// A context without an object factory makes every header and packet fail with what the context answered.
  CRTMPPayload(IUnknown* context, CFLVPayloadOwner* owner);

  std::uint32_t GetTagPrefixSize() override { return 0; }
  Status GetStreamHeader(std::uint16_t stream, ComPtr<IQBPropertyList>& list) override;
  Status CreateVideoPacket(const FLVTagHeader& tag, const FLVVideoTagHeader& video, IQBBuffer* body,
                           ComPtr<IQBPacket>& packet, std::uint16_t& stream) override;
  Status CreateAudioPacket(const FLVTagHeader& tag, const FLVAudioTagHeader& audio, IQBBuffer* body,
                           ComPtr<IQBPacket>& packet, std::uint16_t& stream) override;
  Status CreateOtherPacket(const FLVTagHeader& tag, IQBBuffer* body, ComPtr<IQBPacket>& packet,
                           std::uint16_t& stream) override;

 private:
  struct PacketKind;

  Status BuildAudioHeader(std::uint16_t stream, ComPtr<IQBPropertyList>& list);
  Status BuildVideoHeader(std::uint16_t stream, ComPtr<IQBPropertyList>& list);
  Status SetMimeType(IQBPropertyList* list, const char* mimeType);
  /// bitRate: average of the stream, in bits per second.
  Status SetRuleBook(IQBPropertyList* list, std::uint32_t bitRate);
  Status CreatePacket(const FLVTagHeader& tag, IQBBuffer* body, const PacketKind& kind, ComPtr<IQBPacket>& packet);

  ComPtr<IQBObjectFactory> m_pObjectFactory;
  Status m_FactoryStatus = kFailed;
};

}  // namespace qbflv
