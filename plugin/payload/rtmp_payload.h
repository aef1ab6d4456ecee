// The payload format for RTMP servers: each audio or video tag makes one packet, which holds the tag body unchanged.
#pragma once

#include "plugin/payload/flv_payload.h"

namespace qbflv {

/// Its stream headers have a rule book of two rules: rule 0 for key frames and all audio, and rule 1, which depends on
/// rule 0, for other video frames.
class CRTMPPayload final : public CFLVPayload {
 public:
  /// If the context has no object factory, headers and packets fail with the status of its QueryInterface.
  CRTMPPayload(IUnknown* context, CFLVPayloadOwner* owner);

  std::uint32_t GetTagPrefixSize() override { return 0; }
  Status GetStreamHeader(std::uint16_t stream, ComPtr<IQBPropertyList>& list) override;
  Status CreateVideoPacket(const FLVTagHeader& tag, const FLVVideoTagHeader& video, IQBBuffer* body,
                           PayloadPacket& made) override;
  Status CreateAudioPacket(const FLVTagHeader& tag, const FLVAudioTagHeader& audio, IQBBuffer* body,
                           PayloadPacket& made) override;
  Status CreateOtherPacket(const FLVTagHeader& tag, IQBBuffer* body, PayloadPacket& made) override;

 private:
  Status BuildAudioHeader(std::uint16_t stream, ComPtr<IQBPropertyList>& list);
  Status BuildVideoHeader(std::uint16_t stream, ComPtr<IQBPropertyList>& list);
  Status SetMimeType(IQBPropertyList* list, const char* mimeType);
  /// bitRate: average rate of the stream in bits per second.
  Status SetRuleBook(IQBPropertyList* list, std::uint32_t bitRate);
  Status CreatePacket(const FLVTagHeader& tag, IQBBuffer* body, bool key, PayloadPacket& made);

  ComPtr<IQBObjectFactory> m_pObjectFactory;
  Status m_FactoryStatus = kFailed;
};

}  // namespace qbflv
