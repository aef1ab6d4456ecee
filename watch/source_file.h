// The wrapper of the host's file object, for the plug-in.
#pragma once

#include <memory>

#include "host/com_object.h"
#include "watch/response.h"
#include "watch/session.h"

namespace qbflv::watch {

class Layer;

class WatchedFile final : public host::ComObject<IQBSourceFile, IQBFileStat> {
 public:
  WatchedFile(Layer& layer, std::shared_ptr<Session> session, ComPtr<IQBSourceFile> real);
  ~WatchedFile() override;

  Status QueryInterface(const GUID& id, void** object) override;

  Status Init(std::uint32_t flags, IQBFileResponse* response) override;
  Status Close() override;
  Status Read(std::uint32_t count) override;
  Status Seek(std::uint32_t offset, BOOL relative) override;
  Status SetAccessHint(std::uint32_t hint) override;

  Status Stat(IQBFileStatResponse* response) override;

 private:
  template <typename Pass>
  Status StartOperation(const char* call, Operation operation, std::uint32_t argument, Pass pass);

  Layer& m_layer;
  std::shared_ptr<Session> m_session;
  std::shared_ptr<FileState> m_state;
  ComPtr<IQBSourceFile> m_real;
  ComPtr<IQBFileStat> m_stat;
  std::shared_ptr<WatchedResponse> m_response;
};

}  // namespace qbflv::watch
