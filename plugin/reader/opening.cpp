// Opening a file: what the request and the preferences ask for, and the chain init, seek, FLV header, stat.
#include "plugin/reader/file_format.h"
#include "plugin/reader/flv_parsers.h"
#include "plugin/reader/meta_info_filter.h"
#include "plugin/reader/option_value.h"
#include "plugin/reader/turn.h"
#include "plugin/util/host_objects.h"
#include "plugin/util/preferences.h"
#include "plugin/util/trace.h"
#include "plugin/util/url_options.h"

namespace qbflv {

namespace {

/// The access that a file object is opened with: reading at any position.
constexpr std::uint32_t kFileAccess = 5;

}  // namespace

Status CQBFLVFileFormat::InitFileFormat(IQBRequest* request, IQBFormatSink* sink, IQBSourceFile* file) {
  QBFLV_TRACE_POINT("CQBFLVFileFormat[%p]::InitFileFormat()", static_cast<void*>(this));
  if (!m_pContext || request == nullptr || sink == nullptr || file == nullptr) return kInvalidState;
  const Turn turn(*this);
  ForgetFile();
  const Bookmark here(*this);
  m_pRequest = ComPtr<IQBRequest>::Retain(request);
  m_pFormatSink = ComPtr<IQBFormatSink>::Retain(sink);
  m_pFileObject = ComPtr<IQBSourceFile>::Retain(file);
  const Status status = TakeRequest();
  if (Failed(status)) return status;
  if (here.IsLost()) return kInvalidState;  // one of the host's own objects gave the file up meanwhile
  m_ulTagPrefixBytes = m_pPayload->GetTagPrefixSize();
  m_ulTagHeaderReadSize = kTagHeaderReadBytes + m_ulTagPrefixBytes;

  m_pFileResponse = ComPtr<CFileResponse>::Retain(new (std::nothrow) CFileResponse(this));
  if (!m_pFileResponse) return kOutOfMemory;
  m_ulState = kStateFileInitPending;
  const ComPtr<CFileResponse> response = m_pFileResponse;
  m_Operations.Begin(Completion::kInit);
  return file->Init(kFileAccess, response.Get());
}

/// What the request and the preferences ask for, and the payload format.
Status CQBFLVFileFormat::TakeRequest() {
  const ComPtr<IQBRequest> request = m_pRequest;
  ReadMetaInfoRequest();
  ComPtr<IQBPropertyList> urlOptions;
  ComPtr<IQBPropertyList> headers;
  if (Failed(GetURLOptions(request.Get(), GetContext(), urlOptions)) || Failed(request->GetHeaders(headers.Out())) ||
      !urlOptions || !headers) {
    return kInvalidState;
  }
  ReadUnitLimit(headers.Get(), urlOptions.Get());
  std::int64_t maxTimespan = 0;
  if (ReadIntegerPreference(GetContext(), "FLVMergeSorterMaxTimespan", maxTimespan)) {
    m_ulMergeSorterMaxTimespan = static_cast<std::uint32_t>(maxTimespan);
  }
  return CreatePayload(headers.Get(), urlOptions.Get());
}

/// What was found out about an earlier file says nothing of the next one: an index or durations carried over would send
/// seeks to places of another file. What the request and the preferences set stays until they set it anew.
void CQBFLVFileFormat::ForgetFile() {
  ++m_ulEpoch;
  m_Answer = Answer();
  m_Operations = CFileOperations();
  if (m_pFileResponse) m_pFileResponse->Disconnect();
  m_pFileStat = nullptr;
  m_pStreams = nullptr;
  m_pIndexTable = nullptr;
  m_pMergeSorter = nullptr;
  m_pFlvHeaderBuffer = nullptr;
  m_pTagBuffer = nullptr;
  m_MetaData.Clear();
  static_cast<MediaInfo&>(*this) = MediaInfo();
  m_TagHeader = FLVTagHeader();
  m_AudioTagHeader = FLVAudioTagHeader();
  m_VideoTagHeader = FLVVideoTagHeader();
  m_ulState = kStateReady;
  MoveTo(0);
  m_ulFileSize = 0;
  m_bFileSizeKnown = false;
  m_ulStreamCount = 0;
  m_ulStreamHeadersSent = 0;
}

void CQBFLVFileFormat::ReadMetaInfoRequest() {
  const ComPtr<IQBObjectFactory> factory = m_pContext.Query<IQBObjectFactory>();
  if (!factory) return;
  AcceptMetaInfo accepted;
  if (Failed(ReadAcceptMetaInfo(m_pRequest.Get(), factory.Get(), accepted))) return;
  m_bMetaInfoRequested = accepted.requested;
  m_bAcceptAllMetaInfo = accepted.all;
  m_pMetaInfoFilter = std::move(accepted.filter);
}

/// The URL may limit the units of each stream ("ProcessTimeUnits"), and the request's headers where the URL does not.
void CQBFLVFileFormat::ReadUnitLimit(IQBPropertyList* headers, IQBPropertyList* urlOptions) {
  OptionValue limit;
  if (Failed(FindOption(urlOptions, "ProcessTimeUnits", limit)) &&
      Failed(FindOption(headers, "ProcessTimeUnits", limit))) {
    return;
  }
  if (limit.kind == OptionValue::Kind::kNumber) m_ulProcessTimeUnits = limit.number;
  if (m_ulProcessTimeUnits == 0) return;
  std::int64_t disabled = 0;
  if (ReadIntegerPreference(GetContext(), "DisableFLVThumbnailSeekModification", disabled)) {
    m_bDisableThumbnailSeekModification = disabled != 0;
  }
}

void CQBFLVFileFormat::OnFlvHeader(Status status, IQBBuffer* buffer) {
  const bool isWhole = buffer != nullptr && buffer->GetSize() >= kFlvHeaderSize;
  if (Succeeded(status) && isWhole) status = ParseFLVHeader(buffer);
  if (Failed(status)) return EndInit(kStateReady, status);

  const Bookmark here(*this);
  const ComPtr<IQBSourceFile> file = m_pFileObject;
  const ComPtr<IQBFileStat> stat = file.Query<IQBFileStat>();
  if (here.IsLost()) return;
  m_pFileStat = stat;
  if (!stat) return EndInit(kStateInitialized, kOk);
  m_ulState = kStateStatPending;
  const ComPtr<CFileResponse> response = m_pFileResponse;
  m_Operations.Begin(Completion::kStat);
  status = stat->Stat(response.Get());
  // A stat that is refused at once will not be answered. One that is answered with a failure leaves the size unknown.
  const bool answered = m_Answer.completion != Completion::kNone;
  if (Succeeded(status) || answered || here.IsLost() || m_ulState != kStateStatPending) return;
  EndInit(kStateReady, status);
}

Status CQBFLVFileFormat::ParseFLVHeader(IQBBuffer* buffer) {
  const Status status = ParseFileHeader(ByteCursor(BufferBytes(buffer)), m_FileHeader);
  if (Failed(status)) return status;
  m_bAudioOnly = m_FileHeader.HasAudio() && !m_FileHeader.HasVideo();
  m_pFlvHeaderBuffer = ComPtr<IQBBuffer>::Retain(buffer);
  return kOk;
}

void CQBFLVFileFormat::OnFileSize(Status status, std::uint32_t size) {
  if (Succeeded(status)) {
    m_bFileSizeKnown = true;
    m_ulFileSize = size;
  }
  EndInit(kStateInitialized, kOk);
}

void CQBFLVFileFormat::EndInit(State next, Status status) {
  m_ulState = next;
  const ComPtr<IQBFormatSink> sink = m_pFormatSink;
  sink->InitDone(status);
}

}  // namespace qbflv
