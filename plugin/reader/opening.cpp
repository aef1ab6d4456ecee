// Opening a file: the request and the preferences, then the chain init, seek, FLV header, stat.
#include <utility>

#include "plugin/reader/file_format.h"
#include "plugin/reader/file_parts.h"
#include "plugin/reader/turn.h"
#include "plugin/util/trace.h"

namespace qbflv {

Status CQBFLVFileFormat::InitFileFormat(IQBRequest* request, IQBFormatSink* sink, IQBSourceFile* file) {
  QBFLV_TRACE_POINT("CQBFLVFileFormat[%p]::InitFileFormat()", static_cast<void*>(this));
  if (!m_pContext || request == nullptr || sink == nullptr || file == nullptr) return kInvalidState;
  return RunTurn([&] { return StartFile(request, sink, file); });
}

/// Nothing of an earlier file applies to the next one: an index or durations kept over would send seeks to positions of
/// another file. What the request and the preferences set stays until they set it anew.
Status CQBFLVFileFormat::StartFile(IQBRequest* request, IQBFormatSink* sink, IQBSourceFile* file) {
  const FileParts previous = TakeFileParts();
  m_ulState = kStateReady;
  m_pRequest = ComPtr<IQBRequest>::Retain(request);
  m_pFormatSink = ComPtr<IQBFormatSink>::Retain(sink);
  Status status = m_File.Attach(file, this);
  if (Failed(status)) return status;
  const Step step(*this);
  status = ReadRequest(request);
  if (step.IsAbandoned()) return kInvalidState;
  if (Failed(status)) return status;

  m_ulTagPrefixBytes = m_pPayload->GetTagPrefixSize();
  m_ulTagHeaderReadSize = kTagHeaderReadBytes + m_ulTagPrefixBytes;
  m_ulState = kStateFileInitPending;
  return m_File.Init();
}

/// The host's objects may close the object, or start it on another file, while they are read or released.
Status CQBFLVFileFormat::ReadRequest(IQBRequest* borrowed) {
  const Step step(*this);
  const auto request = ComPtr<IQBRequest>::Retain(borrowed);
  const ComPtr<IUnknown> context = m_pContext;
  RequestOptions options = m_Options;
  RequestOptions::Lists lists;
  const Status status = options.Read(request.Get(), context.Get(), lists);
  if (step.IsAbandoned()) return kInvalidState;
  std::swap(m_Options, options);  // what it held is released at the end
  if (Failed(status)) return status;
  return CreatePayload(lists.headers.Get(), lists.urlOptions.Get());
}

void CQBFLVFileFormat::OnFlvHeader(const FileCompletion& completion) {
  Status status = completion.status;
  if (Succeeded(status) && completion.Size() >= kFlvHeaderSize) {
    status = m_Facts.ParseFLVHeader(completion.Bytes());
    if (Succeeded(status)) m_pFlvHeaderBuffer = completion.buffer;
  }
  if (Failed(status)) return EndInit(kStateReady, status);

  const Step step(*this);
  const bool hasStat = m_File.QueryStat();
  if (step.IsAbandoned()) return;
  if (!hasStat) return EndInit(kStateInitialized, kOk);
  m_ulState = kStateStatPending;
  status = m_File.Stat();
  // A stat that is refused at once is not completed. One that completes with a failure leaves the size unknown.
  if (Succeeded(status) || step.IsAbandoned() || !m_File.IsRefused()) return;
  m_File.Abandon();
  EndInit(kStateReady, status);
}

void CQBFLVFileFormat::EndInit(State next, Status status) {
  m_ulState = next;
  const ComPtr<IQBFormatSink> sink = m_pFormatSink;
  sink->InitDone(status);
}

}  // namespace qbflv
