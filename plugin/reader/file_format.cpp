// Life of the object, and the requests that only look at its state.
#include "plugin/reader/file_format.h"

#include "plugin/platform/platform.h"
#include "plugin/reader/turn.h"
#include "plugin/util/interface_table.h"
#include "plugin/util/trace.h"

namespace qbflv {

CQBFLVFileFormat::~CQBFLVFileFormat() { GiveUpFile(); }

Status CQBFLVFileFormat::QueryInterface(const GUID& id, void** object) {
  IQBPlugin* const identity = this;
  const InterfaceEntry entries[] = {
      {&IUnknown::kId, identity, identity}, EntryFor(identity),
      EntryFor<IQBFileFormatObject>(this),  EntryFor<IQBFileResponse>(this),
      EntryFor<IQBFileStatResponse>(this),  EntryFor<IQBInterruptSafe>(this),
  };
  return FindInterface(entries, id, object);
}

std::uint32_t CQBFLVFileFormat::AddRef() { return static_cast<std::uint32_t>(platform::AtomicIncrement(m_lRefCount)); }

std::uint32_t CQBFLVFileFormat::Release() {
  const std::int32_t count = platform::AtomicDecrement(m_lRefCount);
  if (count > 0) return static_cast<std::uint32_t>(count);
  // While the destructor closes the file, the host may pass references to and fro without ending the object again.
  platform::AtomicIncrement(m_lRefCount);
  const std::unique_ptr<CQBBaseCountingObject> ended(this);
  return 0;
}

Status CQBFLVFileFormat::InitPlugin(IUnknown* context) {
  if (context == nullptr) return kFailed;
  m_ulState = kStateReady;
  m_pContext = ComPtr<IUnknown>::Retain(context);
  return kOk;
}

Status CQBFLVFileFormat::GetFileHeader() {
  QBFLV_TRACE_POINT("CQBFLVFileFormat[%p]::GetFileHeader()", static_cast<void*>(this));
  if (m_ulState != kStateInitialized || !m_pFileObject) return kInvalidState;
  const Turn turn(*this);
  if (m_ulFileOffset == m_FileHeader.ulDataOffset) {
    Read(kStateScanTagHeaderPending, kTagHeaderReadBytes);
  } else {
    SeekFile(kStateScanSeekPending, m_FileHeader.ulDataOffset);
  }
  return kOk;
}

Status CQBFLVFileFormat::GetStreamHeader(std::uint16_t stream) {
  QBFLV_TRACE_POINT("CQBFLVFileFormat[%p]::GetStreamHeader(%u)", static_cast<void*>(this), unsigned{stream});
  if (m_ulState != kStateStreamHeaders || !m_pPayload || !m_pFormatSink) return kInvalidState;
  const Turn turn(*this);
  const Bookmark here(*this);
  const ComPtr<CFLVPayload> payload = m_pPayload;  // it calls the host, which may close the object
  ComPtr<IQBPropertyList> header;
  const Status status = payload->GetStreamHeader(stream, header);
  if (here.IsLost()) return kOk;
  if (Failed(status)) {
    header = nullptr;
  } else if (++m_ulStreamHeadersSent == m_ulStreamCount) {
    m_ulState = kStatePacketIdle;
  }
  const ComPtr<IQBFormatSink> sink = m_pFormatSink;
  sink->StreamHeaderReady(status, header.Get());
  return kOk;
}

Status CQBFLVFileFormat::GetPacket(std::uint16_t stream) {
  QBFLV_TRACE_POINT("CQBFLVFileFormat[%p]::GetPacket(%u)", static_cast<void*>(this), unsigned{stream});
  if (!m_pStreams || stream >= m_ulStreamCount || !m_pFormatSink || !m_pFileObject) return kInvalidState;
  FLVStreamState& state = m_pStreams[stream];
  if (state.bPacketRequested || state.bStreamDone) return kInvalidState;

  state.bPacketRequested = true;
  // Otherwise the request is served when the work under way gets to it.
  if (m_ulState != kStatePacketIdle) return kOk;
  const Turn turn(*this);
  ServeRequests();
  return kOk;
}

Status CQBFLVFileFormat::Close() {
  // A nested Close only drops what is held; the turn under way keeps the object alive and finds its bookmark lost.
  const ComPtr<CQBFLVFileFormat> self = ComPtr<CQBFLVFileFormat>::Retain(this);
  GiveUpFile();
  return kOk;
}

void CQBFLVFileFormat::GiveUpFile() {
  const std::uint32_t epoch = ++m_ulEpoch;
  m_Answer = Answer();
  m_Operations = CFileOperations();
  // The response itself is kept until the next file, for a file object that did not count its reference.
  if (m_pFileResponse) m_pFileResponse->Disconnect();
  // Taken out first: what the file still answers while it closes finds the object closed.
  ComPtr<IQBSourceFile> file = std::move(m_pFileObject);
  if (file) file->Close();
  if (m_ulEpoch != epoch) return;  // the host closed again meanwhile, or went on to another file
  if (m_pPayload) m_pPayload->Close();

  m_pContext = nullptr;
  m_pRequest = nullptr;
  m_pFormatSink = nullptr;
  file = nullptr;
  m_pFileStat = nullptr;
  m_pMetaInfoFilter = nullptr;
  m_pStreams = nullptr;
  m_pIndexTable = nullptr;
  m_pMergeSorter = nullptr;
  m_pFlvHeaderBuffer = nullptr;
  m_pTagBuffer = nullptr;
  m_pPayload = nullptr;
}

}  // namespace qbflv
