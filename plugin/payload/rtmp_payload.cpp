#include "plugin/payload/rtmp_payload.h"

#include "plugin/payload/object_creation.h"
#include "plugin/util/host_objects.h"

namespace qbflv {

namespace {

constexpr std::uint32_t kRuleBookRoom = 256;

/// The video stream counts in milliseconds.
constexpr std::uint32_t kVideoUnitsPerSecond = 1000;

/// The bits that the host framework reads: 2 switches rules on, 1 marks a point to start from.
constexpr std::uint8_t kAsmKeyFrame = 3;
constexpr std::uint8_t kAsmOtherFrame = 2;

}  // namespace

/// What a packet says beside its tag.
struct CRTMPPayload::PacketKind {
  std::uint16_t stream;
  bool key;
};

CRTMPPayload::CRTMPPayload(IUnknown* context, CFLVPayloadOwner* owner) : CFLVPayload(context, owner) {
  if (context == nullptr) return;
  m_FactoryStatus = context->QueryInterface(IQBObjectFactory::kId, m_pObjectFactory.OutVoid());
  if (Failed(m_FactoryStatus)) m_pObjectFactory = nullptr;
  if (Succeeded(m_FactoryStatus) && !m_pObjectFactory) m_FactoryStatus = kFailed;
}

Status CRTMPPayload::GetStreamHeader(std::uint16_t stream, ComPtr<IQBPropertyList>& list) {
  if (!m_pObjectFactory) return m_FactoryStatus;
  if (stream == m_uAudioStream) return BuildAudioHeader(stream, list);
  if (stream == m_uVideoStream) return BuildVideoHeader(stream, list);
  return kInvalidState;
}

Status CRTMPPayload::BuildAudioHeader(std::uint16_t stream, ComPtr<IQBPropertyList>& list) {
  Status status = m_pOwner->BuildAudioStreamHeader(stream, list);
  if (Failed(status)) return status;
  status = list->SetULONG32("PayloadType", kTagAudio);
  if (Failed(status)) return status;
  status = SetMimeType(list.Get(), "audio/x-qb-rtmp");
  if (Failed(status)) return status;
  return SetRuleBook(list.Get(), m_pOwner->GetAudioBitRate());
}

Status CRTMPPayload::BuildVideoHeader(std::uint16_t stream, ComPtr<IQBPropertyList>& list) {
  Status status = m_pOwner->BuildVideoStreamHeader(stream, list);
  if (Failed(status)) return status;
  status = list->SetULONG32("PayloadType", kTagVideo);
  if (Failed(status)) return status;
  status = SetMimeType(list.Get(), "video/x-qb-rtmp");
  if (Failed(status)) return status;
  status = list->SetULONG32("SamplesPerSecond", kVideoUnitsPerSecond);
  if (Failed(status)) return status;
  return SetRuleBook(list.Get(), m_pOwner->GetVideoBitRate());
}

Status CRTMPPayload::SetMimeType(IQBPropertyList* list, const char* mimeType) {
  ComPtr<IQBBuffer> text;
  const Status status = MakeTextBuffer(m_pObjectFactory.Get(), mimeType, text);
  if (Failed(status)) return status;
  return list->SetCString("MimeType", text.Get());
}

Status CRTMPPayload::SetRuleBook(IQBPropertyList* list, std::uint32_t bitRate) {
  ComPtr<IQBBuffer> text;
  Status status = CreateObject(m_pObjectFactory.Get(), text);
  if (Failed(status)) return status;
  status = text->SetSize(kRuleBookRoom);
  if (Failed(status)) return status;
  if (text->GetBuffer() == nullptr) return kFailed;
  const int length = SafeFormat(reinterpret_cast<char*>(text->GetBuffer()), kRuleBookRoom,
                                "AverageBandwidth=%lu,TimestampDelivery=T,QTVKeyFrameRule=T;"
                                "AverageBandwidth=0,TimestampDelivery=T,OnDepend=0;",
                                static_cast<unsigned long>(bitRate));
  status = text->SetSize(static_cast<std::uint32_t>(length) + 1);
  if (Failed(status)) return status;
  return list->SetCString("ASMRuleBook", text.Get());
}

Status CRTMPPayload::CreateVideoPacket(const FLVTagHeader& tag, const FLVVideoTagHeader& video, IQBBuffer* body,
                                       ComPtr<IQBPacket>& packet, std::uint16_t& stream) {
  if (m_uVideoStream == kNoStream) return kNoPacket;
  stream = m_uVideoStream;
  return CreatePacket(tag, body, {stream, video.ucFrameType == kFrameTypeKey}, packet);
}

Status CRTMPPayload::CreateAudioPacket(const FLVTagHeader& tag, const FLVAudioTagHeader& /*audio*/, IQBBuffer* body,
                                       ComPtr<IQBPacket>& packet, std::uint16_t& stream) {
  if (m_uAudioStream == kNoStream) return kNoPacket;
  stream = m_uAudioStream;
  return CreatePacket(tag, body, {stream, true}, packet);
}

Status CRTMPPayload::CreateOtherPacket(const FLVTagHeader& /*tag*/, IQBBuffer* /*body*/, ComPtr<IQBPacket>& /*packet*/,
                                       std::uint16_t& /*stream*/) {
  return kNoPacket;
}

Status CRTMPPayload::CreatePacket(const FLVTagHeader& tag, IQBBuffer* body, const PacketKind& kind,
                                  ComPtr<IQBPacket>& packet) {
  packet = nullptr;
  if (!m_pObjectFactory) return m_FactoryStatus;
  const Status status = CreateObject(m_pObjectFactory.Get(), packet);
  if (Failed(status)) return status;
  return packet->Set(body, tag.ulTimestamp, kind.stream, kind.key ? kAsmKeyFrame : kAsmOtherFrame, kind.key ? 0 : 1);
}

}  // namespace qbflv
