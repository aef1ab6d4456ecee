// The wrapper of the host's file object, for the plug-in.
#include "watch/source_file.h"

#include "watch/layer.h"

namespace qbflv::watch {

WatchedFile::WatchedFile(Layer& layer, std::shared_ptr<Session> session, ComPtr<IQBSourceFile> real)
    : m_layer(layer), m_session(std::move(session)), m_state(m_session->OpenFile(real.Get())), m_real(std::move(real)) {
  if (!m_layer.AttachFile(m_real.Get(), m_session.get())) {
    m_session->Report(Rule::kFileShared, "IQBFileFormatObject::InitFileFormat",
                      "IQBFileFormatObject::InitFileFormat with a file that another object reads");
  }
}

WatchedFile::~WatchedFile() {
  m_layer.DetachFile(m_real.Get(), m_session.get());
  m_state->isClosed = true;
  if (m_response) m_response->ReleaseLayerReference();
}

Status WatchedFile::QueryInterface(const GUID& id, void** object) {
  if (id != IQBFileStat::kId) return ComObject::QueryInterface(id, object);
  static constexpr char kCall[] = "IUnknown::QueryInterface of the file";
  IQBFileStat* stat = nullptr;
  Status status = kOk;
  {
    const HostCall call(*m_session, kCall, id.data1);
    status = m_real->QueryInterface(id, reinterpret_cast<void**>(&stat));
  }
  m_session->CheckStatus(kCall, status);
  m_stat = m_session->Returned(kCall, status, stat);
  *object = nullptr;
  if (m_stat) static_cast<void>(ComObject::QueryInterface(id, object));
  return status;
}

/// The operation may release the last reference to this object; do not touch members after pass.
template <typename Pass>
Status WatchedFile::StartOperation(const char* call, Operation operation, std::uint32_t argument, Pass pass) {
  const std::shared_ptr<Session> session = m_session;
  const std::shared_ptr<FileState> state = m_state;
  const ComPtr<IQBSourceFile> real = m_real;
  const HostCall frame(*session, call, argument);
  const std::uint64_t serial = session->OnOperation(*state, operation, argument);
  const Status status = pass(*real);
  session->CheckStatus(call, status);
  if (Failed(status)) session->OnRefused(*state, operation, serial);
  return status;
}

Status WatchedFile::Init(std::uint32_t flags, IQBFileResponse* response) {
  m_response = std::make_shared<WatchedResponse>(m_session, m_state, ComPtr<IQBFileResponse>::Retain(response));
  m_layer.Keep(m_response);
  return StartOperation("IQBSourceFile::Init", Operation::kInit, flags,
                        [flags, passed = m_response](IQBSourceFile& real) { return real.Init(flags, passed.get()); });
}

Status WatchedFile::Read(std::uint32_t count) {
  return StartOperation("IQBSourceFile::Read", Operation::kRead, count,
                        [count](IQBSourceFile& real) { return real.Read(count); });
}

Status WatchedFile::Seek(std::uint32_t offset, BOOL relative) {
  return StartOperation("IQBSourceFile::Seek", Operation::kSeek, offset,
                        [offset, relative](IQBSourceFile& real) { return real.Seek(offset, relative); });
}

/// The plug-in passes the response object that it passed to Init.
Status WatchedFile::Stat(IQBFileStatResponse* /*response*/) {
  return StartOperation("IQBFileStat::Stat", Operation::kStat, 0,
                        [stat = m_stat, passed = m_response](IQBSourceFile&) { return stat->Stat(passed.get()); });
}

Status WatchedFile::Close() {
  const std::shared_ptr<Session> session = m_session;
  const ComPtr<IQBSourceFile> real = m_real;
  m_state->isClosed = true;
  const HostCall frame(*session, "IQBSourceFile::Close");
  return real->Close();
}

Status WatchedFile::SetAccessHint(std::uint32_t hint) {
  static constexpr char kCall[] = "IQBSourceFile::SetAccessHint";
  const std::shared_ptr<Session> session = m_session;
  const ComPtr<IQBSourceFile> real = m_real;
  const HostCall frame(*session, kCall, hint);
  const qbflv::Status status = real->SetAccessHint(hint);
  session->CheckStatus(kCall, status);
  return status;
}

}  // namespace qbflv::watch
