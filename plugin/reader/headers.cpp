// The file header and what the stream headers have in common.
#include <utility>

#include "plugin/meta/metadata.h"
#include "plugin/payload/object_creation.h"
#include "plugin/reader/file_format.h"
#include "plugin/reader/turn.h"
#include "plugin/util/numbers.h"
#include "plugin/util/trace.h"

namespace qbflv {

namespace {

/// The duration in ms that a stream is given when nothing tells it.
constexpr std::uint32_t kDefaultDuration = 10000;

}  // namespace

/// The scan is over and the file stands at its first tag again.
void CQBFLVFileFormat::SendFileHeader() {
  const Bookmark here(*this);
  ComPtr<IQBPropertyList> header;
  // Making the header calls the host, which may begin another file meanwhile: the metadata must outlive that. A header
  // that fails may be asked for again; once it is made nobody wants the metadata, and an open session should not carry
  // a long list of key frames along.
  AMFValue metaData = std::exchange(m_MetaData, AMFValue());
  const Status status = BuildFileHeader(metaData, header);
  if (here.IsLost()) return;
  if (Succeeded(status)) m_pStreams = MakeArray<FLVStreamState>(m_ulStreamCount);
  if (Failed(status) || !m_pStreams) {
    m_MetaData = std::move(metaData);
    return FailFileHeader(Failed(status) ? status : kOutOfMemory);
  }
  AddKeyFramesToIndex(metaData);

  m_ulStreamHeadersSent = 0;
  m_ulState = kStateStreamHeaders;
  const ComPtr<IQBFormatSink> sink = m_pFormatSink;
  sink->FileHeaderReady(kOk, header.Get());
}

Status CQBFLVFileFormat::BuildFileHeader(const AMFValue& metaData, ComPtr<IQBPropertyList>& list) {
  m_ulStreamCount = m_pPayload->InitStreams(m_FileHeader);
  if (m_ulStreamCount == 0) return kInvalidState;
  const Status status = CreatePropertyList(list, GetContext());
  if (Failed(status)) return status;

  list->SetULONG32("StreamCount", m_ulStreamCount);
  if (!m_bMetaDataPresent) return kOk;
  const auto copy = [&](const char* key, const char* name) {
    CopyMetaDataProperty(metaData, key, list.Get(), name, GetContext());
  };
  copy("title", "Title");
  copy("author", "Author");
  copy("copyright", "Copyright");
  if (m_bAcceptAllMetaInfo) {
    copy("creator", "Creator");
    copy("metadatacreator", "MetaDataCreator");
  }
  return kOk;
}

void CQBFLVFileFormat::AddKeyFramesToIndex(const AMFValue& metaData) {
  if (!m_FileHeader.HasVideo()) return;
  const KeyFrameList keyFrames = FindKeyFrames(metaData);
  if (keyFrames.times == nullptr) return;
  const std::uint16_t stream = m_pPayload->GetStreamForTagType(kTagVideo);
  const std::uint32_t interval =
      VisitKeyFrames(keyFrames, m_bLastVideoTimeKnown ? &m_ulLastVideoTime : nullptr,
                     [&](std::uint32_t time, std::uint32_t offset) { AddSeekPoint(stream, offset, time, true); });
  if (interval > m_ulMaxKeyFrameInterval) m_ulMaxKeyFrameInterval = interval;
  if (m_ulMaxKeyFrameInterval != 0) {
    QBFLV_TRACE_POINT("Max Time Between KeyFrames (from meta data) = %lu ms", TraceNumber(m_ulMaxKeyFrameInterval));
  }
}

Status CQBFLVFileFormat::BuildAudioStreamHeader(std::uint16_t stream, ComPtr<IQBPropertyList>& list) {
  if (stream >= m_ulStreamCount || !m_pContext || !m_bAudioBitRateKnown) return kInvalidState;
  const Status status = CreatePropertyList(list, GetContext());
  if (Failed(status)) return status;

  list->SetULONG32("StreamNumber", stream);
  list->SetULONG32("Duration", GetDuration(m_bAudioDurationKnown, m_ulAudioDuration));
  list->SetULONG32("Channels", m_AudioTagHeader.usChannels);
  list->SetULONG32("BitsPerSample", m_AudioTagHeader.usBitsPerSample);
  list->SetULONG32("SamplesPerSecond", m_AudioTagHeader.ulSamplesPerSecond);
  list->SetULONG32("AvgBitRate", m_ulAudioBitRate);
  if (m_bAcceptAllMetaInfo) {
    list->SetULONG32("SrcBitRate", m_ulAudioBitRate);
    list->SetULONG32("SrcSamplesPerSecond", m_AudioTagHeader.ulSamplesPerSecond);
    list->SetULONG32("SrcBitsPerSample", m_AudioTagHeader.usBitsPerSample);
    list->SetULONG32("SrcNumChannels", m_AudioTagHeader.usChannels);
  }
  return status;
}

Status CQBFLVFileFormat::BuildVideoStreamHeader(std::uint16_t stream, ComPtr<IQBPropertyList>& list) {
  if (stream >= m_ulStreamCount || !m_pContext) return kInvalidState;
  const Status status = CreatePropertyList(list, GetContext());
  if (Failed(status)) return status;

  list->SetULONG32("StreamNumber", stream);
  const std::uint32_t duration = GetDuration(m_bLastVideoTimeKnown, m_ulLastVideoTime);
  list->SetULONG32("Duration", duration);
  EstimateVideoBitRate(duration);
  if (m_bVideoBitRateKnown) list->SetULONG32("AvgBitRate", m_ulVideoBitRate);
  if (m_bWidthKnown) {
    list->SetULONG32("Width", m_ulVideoWidth);
    list->SetULONG32("FrameWidth", m_ulVideoWidth);
  }
  if (m_bHeightKnown) {
    list->SetULONG32("Height", m_ulVideoHeight);
    list->SetULONG32("FrameHeight", m_ulVideoHeight);
  }
  if (m_bAcceptAllMetaInfo) {
    if (m_bVideoBitRateKnown) list->SetULONG32("SrcBitRate", m_ulVideoBitRate);
    if (m_bWidthKnown) list->SetULONG32("SrcWidth", m_ulVideoWidth);
    if (m_bHeightKnown) list->SetULONG32("SrcHeight", m_ulVideoHeight);
  }
  return status;
}

std::uint32_t CQBFLVFileFormat::GetDuration(bool known, std::uint32_t duration) const {
  if (known) return duration;
  return m_bMetaDurationKnown ? m_ulMetaDuration : kDefaultDuration;
}

/// All that the file holds, spread over its duration, less what the audio takes. Without the audio's rate no estimate
/// holds.
void CQBFLVFileFormat::EstimateVideoBitRate(std::uint32_t duration) {
  const bool durationKnown = m_bLastVideoTimeKnown || m_bMetaDurationKnown;
  if (m_bVideoBitRateKnown || !m_bFileSizeKnown || !durationKnown || duration == 0) return;
  std::uint32_t rate = TruncateToU32(m_ulFileSize * 8.0 / (duration / 1000.0));
  if (m_FileHeader.HasAudio()) {
    if (!m_bAudioBitRateKnown || rate <= m_ulAudioBitRate) return;
    rate -= m_ulAudioBitRate;
  }
  m_ulVideoBitRate = rate;
  m_bVideoBitRateKnown = true;
}

}  // namespace qbflv
