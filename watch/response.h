// The response object of the plug-in, as the host's file object gets it.
#pragma once

#include <memory>

#include "watch/handed_out.h"

namespace qbflv::watch {

class WatchedResponse final : public HandedOut, public IQBFileResponse, public IQBFileStatResponse {
 public:
  WatchedResponse(std::shared_ptr<Session> session, std::shared_ptr<FileState> file, ComPtr<IQBFileResponse> real);

  Status QueryInterface(const GUID& id, void** object) override;
  std::uint32_t AddRef() override { return Take(Taken::kByAddRef); }
  std::uint32_t Release() override { return GiveBack(); }

  Status InitDone(Status status) override;
  Status CloseDone(Status status) override;
  Status ReadDone(Status status, IQBBuffer* buffer) override;
  Status WriteDone(Status status) override;
  Status SeekDone(Status status) override;
  Status StatDone(Status status, std::uint32_t size) override;

  IQBFileResponse* Real() const { return m_real.Get(); }

 protected:
  void End() override { m_real = nullptr; }
  void Forget() override { static_cast<void>(m_real.Detach()); }

 private:
  template <typename Pass>
  Status Complete(const char* call, Operation operation, Status status, Pass pass);

  std::shared_ptr<FileState> m_file;
  ComPtr<IQBFileResponse> m_real;
};

}  // namespace qbflv::watch
