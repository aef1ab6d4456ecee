// Wrappers of the host's context and request, for the plug-in.
#include "watch/host_objects.h"

#include <fmt/format.h>

#include "watch/data_objects.h"

namespace qbflv::watch {

namespace {

class WatchedFactory final : public host::ComObject<IQBObjectFactory> {
 public:
  WatchedFactory(std::shared_ptr<Session> session, ComPtr<IQBObjectFactory> real)
      : m_session(std::move(session)), m_real(std::move(real)) {}

  Status CreateInstance(const GUID& classId, void** object) override {
    static constexpr char kCall[] = "IQBObjectFactory::CreateInstance";
    void* real = nullptr;
    Status status = kOk;
    {
      const HostCall call(*m_session, kCall, classId.data1);
      status = m_real->CreateInstance(classId, &real);
    }
    m_session->CheckStatus(kCall, status);
    *object = nullptr;
    if (classId == IQBPacket::kId) {
      Wrap<WatchedPacket>(status, static_cast<IQBPacket*>(real), object);
    } else if (classId == IQBBuffer::kId) {
      auto* const buffer = static_cast<IQBBuffer*>(real);
      if (Succeeded(status) && buffer != nullptr && buffer->GetSize() > 0) {
        m_session->Report(Rule::kInstanceNotEmpty, kCall,
                          fmt::format("{} returns a buffer of {} bytes", kCall, buffer->GetSize()));
      }
      Wrap<WatchedBuffer>(status, buffer, object);
    } else if (classId == IQBPropertyList::kId) {
      Wrap<WatchedList>(status, static_cast<IQBPropertyList*>(real), object);
    } else {
      *object = real;  // the plug-in creates no other class
    }
    return status;
  }

 private:
  template <typename Watched, typename Interface>
  void Wrap(Status status, Interface* real, void** object) {
    ComPtr<Interface> returned = m_session->Returned("IQBObjectFactory::CreateInstance", status, real);
    if (!returned) return;
    Interface* const watched = host::MakeObject<Watched>(*m_session, std::move(returned)).Detach();
    *object = watched;
  }

  std::shared_ptr<Session> m_session;
  ComPtr<IQBObjectFactory> m_real;
};

class WatchedPreferences final : public host::ComObject<IQBPreferences> {
 public:
  WatchedPreferences(std::shared_ptr<Session> session, ComPtr<IQBPreferences> real)
      : m_session(std::move(session)), m_real(std::move(real)) {}

  Status ReadPref(const char* name, IQBBuffer** value) override {
    static constexpr char kCall[] = "IQBPreferences::ReadPref";
    IQBBuffer* real = nullptr;
    Status status = kOk;
    {
      const HostCall call(*m_session, kCall);
      status = m_real->ReadPref(name, &real);
    }
    return WrapReturned(*m_session, kCall, status, real, value);
  }

 private:
  std::shared_ptr<Session> m_session;
  ComPtr<IQBPreferences> m_real;
};

/// Wraps an interface that a call into the host returned, and stores it in `object`.
template <typename Watched, typename Interface>
void Wrap(const std::shared_ptr<Session>& session, const char* call, Status status, void* real, void** object) {
  auto returned = session->Returned(call, status, static_cast<Interface*>(real));
  if (!returned) return;
  Interface* const watched = host::MakeObject<Watched>(session, std::move(returned)).Detach();
  *object = watched;
}

}  // namespace

Status WatchedContext::QueryInterface(const GUID& id, void** object) {
  if (id == IUnknown::kId) return ComObject::QueryInterface(id, object);
  static constexpr char kCall[] = "IUnknown::QueryInterface of the context";
  void* real = nullptr;
  Status status = kOk;
  {
    const HostCall call(*m_session, kCall, id.data1);
    status = m_real->QueryInterface(id, &real);
  }
  m_session->CheckStatus(kCall, status);
  *object = nullptr;
  if (id == IQBObjectFactory::kId) {
    Wrap<WatchedFactory, IQBObjectFactory>(m_session, kCall, status, real, object);
  } else if (id == IQBPreferences::kId) {
    Wrap<WatchedPreferences, IQBPreferences>(m_session, kCall, status, real, object);
  } else {
    *object = real;
  }
  return status;
}

Status WatchedRequest::GetHeaders(IQBPropertyList** headers) {
  static constexpr char kCall[] = "IQBRequest::GetHeaders";
  IQBPropertyList* real = nullptr;
  Status status = kOk;
  {
    const HostCall call(*m_session, kCall);
    status = m_real->GetHeaders(&real);
  }
  m_session->CheckStatus(kCall, status);
  ComPtr<IQBPropertyList> returned = m_session->Returned(kCall, status, real);
  if (returned) *headers = host::MakeObject<WatchedList>(*m_session, std::move(returned)).Detach();
  return status;
}

Status WatchedRequest::GetURL(const char** url) {
  static constexpr char kCall[] = "IQBRequest::GetURL";
  const HostCall call(*m_session, kCall);
  const Status status = m_real->GetURL(url);
  m_session->CheckStatus(kCall, status);
  if (Succeeded(status) && *url == nullptr) {
    m_session->Report(Rule::kSuccessWithoutObject, kCall, "IQBRequest::GetURL returns a success and null");
  }
  return status;
}

}  // namespace qbflv::watch
