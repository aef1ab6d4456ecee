// The file header and the stream headers.
#include <utility>

#include "plugin/meta/metadata.h"
#include "plugin/payload/object_creation.h"
#include "plugin/reader/file_format.h"
#include "plugin/reader/turn.h"
#include "plugin/util/trace.h"

namespace qbflv {

namespace {

/// metaData: null without metadata. acceptAll: the host wants the properties of the creator, too.
Status BuildFileHeader(std::uint32_t streamCount, const AMFValue* metaData, bool acceptAll, IUnknown* context,
                       ComPtr<IQBPropertyList>& list) {
  if (streamCount == 0) return kInvalidState;
  const Status status = CreatePropertyList(list, context);
  if (Failed(status)) return status;

  list->SetULONG32("StreamCount", streamCount);
  if (metaData == nullptr) return kOk;
  const auto copy = [&](const char* key, const char* name) {
    CopyMetaDataProperty(*metaData, key, list.Get(), name, context);
  };
  copy("title", "Title");
  copy("author", "Author");
  copy("copyright", "Copyright");
  if (acceptAll) {
    copy("creator", "Creator");
    copy("metadatacreator", "MetaDataCreator");
  }
  return kOk;
}

}  // namespace

/// The scan is over and the file is at its first tag again.
void CQBFLVFileFormat::SendFileHeader() {
  const Step step(*this);
  // Building the header calls the host, which may close the object or start another file meanwhile.
  const ComPtr<IUnknown> context = m_pContext;
  AMFValue metaData = std::exchange(m_Facts.m_MetaData, AMFValue());
  const std::uint32_t streamCount = m_pPayload->InitStreams(m_Facts.m_FileHeader);
  ComPtr<IQBPropertyList> header;
  Status status = BuildFileHeader(streamCount, m_Facts.m_bMetaDataPresent ? &metaData : nullptr,
                                  m_Options.m_bAcceptAllMetaInfo, context.Get(), header);
  if (step.IsAbandoned()) return;
  if (Succeeded(status) && !m_Streams.Create(streamCount, m_pPayload->GetStreamForTagType(kTagAudio))) {
    status = kOutOfMemory;
  }
  if (Failed(status)) {
    m_Facts.m_MetaData = std::move(metaData);  // the header may be requested again
    return FailFileHeader(status);
  }
  m_SeekPoints.Prepare(streamCount, m_Facts.GetIndexDuration());
  AddKeyFramesToIndex(metaData);

  m_ulStreamHeadersSent = 0;
  m_ulState = kStateStreamHeaders;
  const ComPtr<IQBFormatSink> sink = m_pFormatSink;
  sink->FileHeaderReady(kOk, header.Get());
}

void CQBFLVFileFormat::FailFileHeader(Status status) {
  m_ulState = kStateInitialized;
  const ComPtr<IQBFormatSink> sink = m_pFormatSink;
  sink->FileHeaderReady(status, nullptr);
}

void CQBFLVFileFormat::AddKeyFramesToIndex(const AMFValue& metaData) {
  if (!m_Facts.m_FileHeader.HasVideo()) return;
  const KeyFrameList keyFrames = FindKeyFrames(metaData);
  if (keyFrames.times == nullptr) return;
  const std::uint16_t stream = m_pPayload->GetStreamForTagType(kTagVideo);
  const std::uint32_t interval = VisitKeyFrames(
      keyFrames, m_Facts.m_bLastVideoTimeKnown ? &m_Facts.m_ulLastVideoTime : nullptr,
      [&](std::uint32_t time, std::uint32_t offset) { m_SeekPoints.AddSeekPoint(stream, offset, time, true); });
  std::uint32_t& longest = m_Facts.m_ulMaxKeyFrameInterval;
  if (interval > longest) longest = interval;
  if (longest != 0) {
    QBFLV_TRACE_POINT("Max Time Between KeyFrames (from meta data) = %lu ms", TraceNumber(longest));
  }
}

Status CQBFLVFileFormat::GetStreamHeader(std::uint16_t stream) {
  QBFLV_TRACE_POINT("CQBFLVFileFormat[%p]::GetStreamHeader(%u)", static_cast<void*>(this), unsigned{stream});
  if (m_ulState != kStateStreamHeaders || !m_pPayload || !m_pFormatSink) return kInvalidState;
  return RunTurn([&] { return SendStreamHeader(stream); });
}

/// A GetPacket that came before the last stream header is served after it.
Status CQBFLVFileFormat::SendStreamHeader(std::uint16_t stream) {
  const Step step(*this);
  const ComPtr<CFLVPayload> payload = m_pPayload;
  ComPtr<IQBPropertyList> header;
  const Status status = payload->GetStreamHeader(stream, header);
  if (step.IsAbandoned()) return kOk;
  if (Succeeded(status) && ++m_ulStreamHeadersSent == m_Streams.GetCount()) m_ulState = kStatePacketIdle;
  const ComPtr<IQBFormatSink> sink = m_pFormatSink;
  sink->StreamHeaderReady(status, Succeeded(status) ? header.Get() : nullptr);
  if (!step.IsAbandoned()) ServeWaitingStreams();
  return kOk;
}

Status CQBFLVFileFormat::BuildAudioStreamHeader(std::uint16_t stream, ComPtr<IQBPropertyList>& list) {
  const ComPtr<IUnknown> context = m_pContext;
  if (stream >= m_Streams.GetCount() || !context || !m_Facts.m_bAudioBitRateKnown) return kInvalidState;
  const Status status = CreatePropertyList(list, context.Get());
  if (Failed(status)) return status;

  const FLVAudioTagHeader& format = m_Facts.GetAudioFormat();
  list->SetULONG32("StreamNumber", stream);
  list->SetULONG32("Duration", m_Facts.GetAudioDuration());
  list->SetULONG32("Channels", format.usChannels);
  list->SetULONG32("BitsPerSample", format.usBitsPerSample);
  list->SetULONG32("SamplesPerSecond", format.ulSamplesPerSecond);
  list->SetULONG32("AvgBitRate", m_Facts.m_ulAudioBitRate);
  if (m_Options.m_bAcceptAllMetaInfo) {
    list->SetULONG32("SrcBitRate", m_Facts.m_ulAudioBitRate);
    list->SetULONG32("SrcSamplesPerSecond", format.ulSamplesPerSecond);
    list->SetULONG32("SrcBitsPerSample", format.usBitsPerSample);
    list->SetULONG32("SrcNumChannels", format.usChannels);
  }
  return status;
}

Status CQBFLVFileFormat::BuildVideoStreamHeader(std::uint16_t stream, ComPtr<IQBPropertyList>& list) {
  const ComPtr<IUnknown> context = m_pContext;
  if (stream >= m_Streams.GetCount() || !context) return kInvalidState;
  const Status status = CreatePropertyList(list, context.Get());
  if (Failed(status)) return status;

  list->SetULONG32("StreamNumber", stream);
  list->SetULONG32("Duration", m_Facts.GetVideoDuration());
  if (m_File.IsFileSizeKnown()) m_Facts.EstimateVideoBitRate(m_File.GetFileSize());
  if (m_Facts.m_bVideoBitRateKnown) list->SetULONG32("AvgBitRate", m_Facts.m_ulVideoBitRate);
  if (m_Facts.m_bWidthKnown) {
    list->SetULONG32("Width", m_Facts.m_ulVideoWidth);
    list->SetULONG32("FrameWidth", m_Facts.m_ulVideoWidth);
  }
  if (m_Facts.m_bHeightKnown) {
    list->SetULONG32("Height", m_Facts.m_ulVideoHeight);
    list->SetULONG32("FrameHeight", m_Facts.m_ulVideoHeight);
  }
  if (m_Options.m_bAcceptAllMetaInfo) {
    if (m_Facts.m_bVideoBitRateKnown) list->SetULONG32("SrcBitRate", m_Facts.m_ulVideoBitRate);
    if (m_Facts.m_bWidthKnown) list->SetULONG32("SrcWidth", m_Facts.m_ulVideoWidth);
    if (m_Facts.m_bHeightKnown) list->SetULONG32("SrcHeight", m_Facts.m_ulVideoHeight);
  }
  return status;
}

}  // namespace qbflv
