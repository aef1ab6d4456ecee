#include "plugin/payload/rtmp_payload.h"

#include "plugin/payload/object_creation.h"
#include "plugin/util/host_objects.h"

namespace qbflv {

namespace {

/// Size of the buffer before its text is known; the longest text has 117 bytes with its NUL.
constexpr std::uint32_t kMaxRuleBookBytes = 256;

/// The time unit of the video stream is the millisecond.
constexpr std::uint32_t kVideoUnitsPerSecond = 1000;

/// ASM flags of the host's framework: bit 1 switches rules on, bit 0 marks a position where playback can start.
constexpr std::uint8_t kAsmKeyFrame = 3;
constexpr std::uint8_t kAsmOtherFrame = 2;

}  // namespace

CRTMPPayload::CRTMPPayload(IUnknown* context, CFLVPayloadOwner* owner) : CFLVPayload(context, owner) {
  if (context == nullptr) return;
  m_FactoryStatus = context->QueryInterface(IQBObjectFactory::kId, m_pObjectFactory.OutVoid());
  if (Failed(m_FactoryStatus)) m_pObjectFactory = nullptr;
  if (Succeeded(m_FactoryStatus) && !m_pObjectFactory) m_FactoryStatus = kFailed;
}

Status CRTMPPayload::GetStreamHeader(std::uint16_t stream, ComPtr<IQBPropertyList>& list) {
  if (stream != m_uAudioStream && stream != m_uVideoStream) return kInvalidState;
  if (!m_pObjectFactory) return m_FactoryStatus;
  return stream == m_uAudioStream ? BuildAudioHeader(stream, list) : BuildVideoHeader(stream, list);
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
  status = text->SetSize(kMaxRuleBookBytes);
  if (Failed(status)) return status;
  // A buffer without bytes leaves the text empty, which is not a failure.
  const int length = SafeFormat(reinterpret_cast<char*>(text->GetBuffer()), kMaxRuleBookBytes,
                                "AverageBandwidth=%lu,TimestampDelivery=T,QTVKeyFrameRule=T;"
                                "AverageBandwidth=0,TimestampDelivery=T,OnDepend=0;",
                                static_cast<unsigned long>(bitRate));
  status = text->SetSize(static_cast<std::uint32_t>(length) + 1);
  if (Failed(status)) return status;
  return list->SetCString("ASMRuleBook", text.Get());
}

Status CRTMPPayload::CreateVideoPacket(const FLVTagHeader& tag, const FLVVideoTagHeader& video, IQBBuffer* body,
                                       PayloadPacket& made) {
  if (m_uVideoStream == kNoStream) return kNoPacket;
  made.stream = m_uVideoStream;
  return CreatePacket(tag, body, video.ucFrameType == kFrameTypeKey, made);
}

Status CRTMPPayload::CreateAudioPacket(const FLVTagHeader& tag, const FLVAudioTagHeader& /*audio*/, IQBBuffer* body,
                                       PayloadPacket& made) {
  if (m_uAudioStream == kNoStream) return kNoPacket;
  made.stream = m_uAudioStream;
  return CreatePacket(tag, body, true, made);
}

Status CRTMPPayload::CreateOtherPacket(const FLVTagHeader& /*tag*/, IQBBuffer* /*body*/, PayloadPacket& /*made*/) {
  return kNoPacket;
}

Status CRTMPPayload::CreatePacket(const FLVTagHeader& tag, IQBBuffer* body, bool key, PayloadPacket& made) {
  if (!m_pObjectFactory) return m_FactoryStatus;
  const Status status = CreateObject(m_pObjectFactory.Get(), made.packet);
  if (Failed(status)) return status;
  made.time = tag.ulTimestamp;
  return made.packet->Set(body, made.time, made.stream, key ? kAsmKeyFrame : kAsmOtherFrame, key ? 0 : 1);
}

}  // namespace qbflv
