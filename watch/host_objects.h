// Wrappers of the host's context and request, for the plug-in.
#pragma once

#include <memory>

#include "host/com_object.h"
#include "watch/session.h"

namespace qbflv::watch {

class WatchedContext final : public host::ComObject<IUnknown> {
 public:
  WatchedContext(std::shared_ptr<Session> session, ComPtr<IUnknown> real)
      : m_session(std::move(session)), m_real(std::move(real)) {}

  /// Returns the host's own status: the plug-in depends on it.
  Status QueryInterface(const GUID& id, void** object) override;

 private:
  std::shared_ptr<Session> m_session;
  ComPtr<IUnknown> m_real;
};

class WatchedRequest final : public host::ComObject<IQBRequest> {
 public:
  WatchedRequest(std::shared_ptr<Session> session, ComPtr<IQBRequest> real)
      : m_session(std::move(session)), m_real(std::move(real)) {}

  Status GetHeaders(IQBPropertyList** headers) override;
  Status GetURL(const char** url) override;

 private:
  std::shared_ptr<Session> m_session;
  ComPtr<IQBRequest> m_real;
};

}  // namespace qbflv::watch
