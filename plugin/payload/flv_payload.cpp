#include "plugin/payload/flv_payload.h"

#include <memory>

namespace qbflv {

CFLVPayload::CFLVPayload(IUnknown* context, CFLVPayloadOwner* owner)
    : m_pContext(ComPtr<IUnknown>::Retain(context)), m_pOwner(owner) {}

void CFLVPayload::Release() {
  if (--m_ulRefCount > 0) return;
  const std::unique_ptr<CFLVPayload> ended(this);
}

std::uint32_t CFLVPayload::InitStreams(const FLVFileHeader& header) {
  m_ulStreamCount = 0;
  if (header.HasAudio()) {
    m_uAudioStream = 0;
    m_ulStreamCount = 1;
  }
  if (header.HasVideo()) {
    m_uVideoStream = static_cast<std::uint16_t>(m_ulStreamCount);
    ++m_ulStreamCount;
  }
  return m_ulStreamCount;
}

Status CFLVPayload::OnAudioScanTag(const FLVAudioTagHeader& /*audio*/, std::span<const std::uint8_t> /*data*/) {
  return kOk;
}

Status CFLVPayload::OnVideoScanTag(const FLVVideoTagHeader& /*video*/, std::span<const std::uint8_t> /*data*/) {
  return kOk;
}

Status CFLVPayload::OnSeek(std::uint32_t /*time*/) { return kOk; }

Status CFLVPayload::OnEndOfFile(IQBBuffer* /*lastRead*/, ComPtr<IQBPacket>& packet) {
  packet = nullptr;
  return kOk;
}

Status CFLVPayload::OnStreamEnd(std::uint16_t /*stream*/, std::uint32_t /*endReached*/) { return kOk; }

BOOL CFLVPayload::IsSkippedTagType(std::uint8_t tagType) {
  return tagType == kTagAudio || tagType == kTagVideo ? 0 : 1;
}

std::uint16_t CFLVPayload::GetStreamForTagType(std::uint8_t tagType) {
  switch (tagType) {
    case kTagVideo:
      return m_uVideoStream;
    case kTagAudio:
      return m_uAudioStream;
    default:
      return kNoStream;
  }
}

BOOL CFLVPayload::IsCountedUnit(IQBPacket* /*packet*/) { return 1; }

BOOL CFLVPayload::GetPacketTime(IQBPacket* packet, std::uint32_t& time) {
  if (packet == nullptr) return 0;
  time = packet->GetTime();
  return 1;
}

Status CFLVPayload::GetFrameSize(std::uint32_t* width, std::uint32_t* height) {
  if (width == nullptr || height == nullptr) return kInvalidState;
  return kFailed;
}

}  // namespace qbflv
