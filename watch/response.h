// The wrapper of the plug-in's response object, for the host's file object.
#pragma once

#include <memory>

#include "watch/exposed_object.h"

namespace qbflv::watch {

class WatchedResponse final : public ExposedObject, public IQBFileResponse, public IQBFileStatResponse {
 public:
  WatchedResponse(std::shared_ptr<Session> session, std::shared_ptr<FileState> file, ComPtr<IQBFileResponse> real);

  Status QueryInterface(const GUID& id, void** object) override;
  std::uint32_t AddRef() override { return AddReference(Source::kAddRef); }
  std::uint32_t Release() override { return ReleaseReference(); }

  Status InitDone(Status status) override;
  Status CloseDone(Status status) override;
  Status ReadDone(Status status, IQBBuffer* buffer) override;
  Status WriteDone(Status status) override;
  Status SeekDone(Status status) override;
  Status StatDone(Status status, std::uint32_t size) override;

  IQBFileResponse* Real() const { return m_real.Get(); }

 protected:
  void ReleaseReal() override { m_real = nullptr; }
  void Forget() override { static_cast<void>(m_real.Detach()); }

 private:
  template <typename Pass>
  Status Complete(const char* call, Operation operation, Status status, Pass pass);

  std::shared_ptr<FileState> m_file;
  ComPtr<IQBFileResponse> m_real;
};

}  // namespace qbflv::watch
