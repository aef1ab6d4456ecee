// Life of the object: interfaces, references, descriptors, Close.
#include "plugin/reader/file_format.h"

#include <memory>

#include "plugin/platform/platform.h"
#include "plugin/reader/descriptors.h"
#include "plugin/reader/file_parts.h"
#include "plugin/reader/turn.h"
#include "plugin/util/interface_table.h"

namespace qbflv {

namespace {

template <typename Value>
void Store(Value* out, Value value) {
  if (out != nullptr) *out = value;
}

}  // namespace

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

/// The file is closed before the destructor runs: the host may call the object from there, also its virtual operations.
std::uint32_t CQBFLVFileFormat::Release() {
  const std::int32_t count = platform::AtomicDecrement(m_lRefCount);
  if (count > 0) return static_cast<std::uint32_t>(count);
  // A reference that the host adds and releases meanwhile must not end the object again.
  platform::AtomicIncrement(m_lRefCount);
  const std::unique_ptr<CQBBaseCountingObject> ended(this);
  m_bEnding = true;
  CloseFile();
  return 0;
}

Status CQBFLVFileFormat::GetPluginInfo(std::uint32_t* flag, const char** description, const char** copyright,
                                       const char** moreInfo, std::uint32_t* version) {
  Store(flag, kPluginFlag);
  Store(description, kDescription);
  Store(copyright, kCopyright);
  Store(moreInfo, kMoreInfo);
  Store(version, kVersion);
  return kOk;
}

Status CQBFLVFileFormat::GetFileFormatInfo(const char* const** mimeTypes, const char* const** extensions,
                                           const char* const** openNames) {
  Store(mimeTypes, kMimeTypes);
  Store(extensions, kExtensions);
  Store(openNames, kOpenNames);
  return kOk;
}

Status CQBFLVFileFormat::InitPlugin(IUnknown* context) {
  if (context == nullptr) return kFailed;
  if (m_bEnding) return kInvalidState;
  const FileCompletion dropped = AbandonStep();
  m_File.Abandon();
  m_ulState = kStateReady;
  m_pContext = ComPtr<IUnknown>::Retain(context);
  return kOk;
}

Status CQBFLVFileFormat::Close() {
  const auto self = ComPtr<CQBFLVFileFormat>::Retain(this);
  CloseFile();
  return kOk;
}

/// Leaves out the context and the request's options, which outlive a file.
CQBFLVFileFormat::FileParts CQBFLVFileFormat::TakeFileParts() {
  FileParts parts;
  parts.completion = AbandonStep();
  parts.payload = std::move(m_pPayload);
  parts.tagBuffer = std::move(m_pTagBuffer);
  parts.flvHeaderBuffer = std::move(m_pFlvHeaderBuffer);
  parts.streams = std::exchange(m_Streams, CStreamQueues());
  parts.seekPoints = std::exchange(m_SeekPoints, CSeekPoints());
  parts.file = m_File.Detach();
  parts.sink = std::move(m_pFormatSink);
  parts.request = std::move(m_pRequest);
  m_Facts = CScanFacts();
  m_Tag = CurrentTag();
  return parts;
}

void CQBFLVFileFormat::CloseFile() {
  FileParts parts = TakeFileParts();
  parts.context = std::move(m_pContext);
  parts.metaInfoFilter = std::move(m_Options.m_pMetaInfoFilter);
  if (parts.file.file) parts.file.file->Close();
  if (parts.payload) parts.payload->Close();
}

}  // namespace qbflv
