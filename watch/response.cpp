// The wrapper of the plug-in's response object, for the host's file object.
#include "watch/response.h"

#include "watch/data_objects.h"

namespace qbflv::watch {

WatchedResponse::WatchedResponse(std::shared_ptr<Session> session, std::shared_ptr<FileState> file,
                                 ComPtr<IQBFileResponse> real)
    : ExposedObject(std::move(session), "IQBFileResponse", 1, 0), m_file(std::move(file)), m_real(std::move(real)) {}

Status WatchedResponse::QueryInterface(const GUID& id, void** object) {
  if (object == nullptr) return kInvalidArgument;
  *object = nullptr;
  if (IsUsedAfterRelease("QueryInterface")) return kNoInterface;
  if (id == IUnknown::kId || id == IQBFileResponse::kId) *object = static_cast<IQBFileResponse*>(this);
  if (id == IQBFileStatResponse::kId) *object = static_cast<IQBFileStatResponse*>(this);
  if (*object == nullptr) return kNoInterface;
  AddReference(Source::kQueryInterface);
  return kOk;
}

/// The completion may release this object; do not touch members after pass.
template <typename Pass>
Status WatchedResponse::Complete(const char* call, Operation operation, Status status, Pass pass) {
  if (IsUsedAfterRelease(call)) return kInvalidState;
  const PluginCall frame(GetSession(), call, static_cast<std::uint32_t>(status));
  IQBFileResponse* const real = m_real.Get();  // keeps itself alive during the call
  if (frame.IsTracked()) {
    GetSession()->CheckStatus(call, status);
    static_cast<void>(GetSession()->OnCompletion(call, *m_file, operation));
  }
  return pass(*real);
}

Status WatchedResponse::InitDone(Status status) {
  return Complete("IQBFileResponse::InitDone", Operation::kInit, status,
                  [status](IQBFileResponse& real) { return real.InitDone(status); });
}

Status WatchedResponse::SeekDone(Status status) {
  return Complete("IQBFileResponse::SeekDone", Operation::kSeek, status,
                  [status](IQBFileResponse& real) { return real.SeekDone(status); });
}

Status WatchedResponse::StatDone(Status status, std::uint32_t size) {
  if (Succeeded(status)) m_file->size = size;
  return Complete("IQBFileStatResponse::StatDone", Operation::kStat, status, [&](IQBFileResponse& real) {
    const auto stat = QueryFor<IQBFileStatResponse>(&real);
    return stat->StatDone(status, size);
  });
}

Status WatchedResponse::ReadDone(Status status, IQBBuffer* buffer) {
  static constexpr char kCall[] = "IQBFileResponse::ReadDone";
  if (IsUsedAfterRelease(kCall)) return kInvalidState;
  const std::uint32_t bytes = buffer != nullptr ? buffer->GetSize() : 0;
  const PluginCall frame(GetSession(), kCall, bytes);
  IQBFileResponse* const real = m_real.Get();  // keeps itself alive during the call
  ComPtr<WatchedBuffer> watched;
  if (buffer != nullptr) watched = host::MakeObject<WatchedBuffer>(*GetSession(), ComPtr<IQBBuffer>::Retain(buffer));
  if (frame.IsTracked()) {
    GetSession()->CheckStatus(kCall, status);
    const auto requested = GetSession()->OnCompletion(kCall, *m_file, Operation::kRead,
                                                      buffer != nullptr ? std::optional(bytes) : std::nullopt);
    if (requested) GetSession()->OnReadDone(kCall, *m_file, *requested, status, buffer != nullptr, bytes);
    if (watched) watched->RequireUnchanged();
  }
  return real->ReadDone(status, watched.Get());
}

Status WatchedResponse::CloseDone(Status status) {
  if (IsUsedAfterRelease("CloseDone")) return kInvalidState;
  const PluginCall frame(GetSession(), "IQBFileResponse::CloseDone");
  IQBFileResponse* const real = m_real.Get();  // keeps itself alive during the call
  return real->CloseDone(status);
}

Status WatchedResponse::WriteDone(Status status) {
  if (IsUsedAfterRelease("WriteDone")) return kInvalidState;
  const PluginCall frame(GetSession(), "IQBFileResponse::WriteDone");
  IQBFileResponse* const real = m_real.Get();  // keeps itself alive during the call
  return real->WriteDone(status);
}

}  // namespace qbflv::watch
