#include "tests/support/scripted_objects.h"

#include <utility>

#include "host/packet.h"

namespace qbflv::test {

namespace {

class ScriptedBuffer final : public host::ComObject<IQBBuffer> {
 public:
  ScriptedBuffer(FaultPlan& plan, ComPtr<host::Buffer> buffer) : m_counted(plan), m_buffer(std::move(buffer)) {}

  Status Set(const std::uint8_t* bytes, std::uint32_t length) override {
    return Perform(m_counted.plan, Asked::kFillBuffer, [&] { return m_buffer->Set(bytes, length); });
  }
  Status SetSize(std::uint32_t size) override {
    return Perform(m_counted.plan, Asked::kFillBuffer, [&] { return m_buffer->SetSize(size); });
  }
  std::uint32_t GetSize() override { return m_buffer->GetSize(); }
  std::uint8_t* GetBuffer() override {
    return m_counted.plan.Take(Asked::kBufferBytes) == Failing::kNot ? m_buffer->GetBuffer() : nullptr;
  }

 private:
  Counted m_counted;
  ComPtr<host::Buffer> m_buffer;
};

class ScriptedPacket final : public host::BasicPacket<IQBPacket> {
 public:
  explicit ScriptedPacket(FaultPlan& plan) : m_counted(plan) {}
  ScriptedPacket(const ScriptedPacket&) = delete;
  ScriptedPacket& operator=(const ScriptedPacket&) = delete;

  Status Set(IQBBuffer* buffer, std::uint32_t time, std::uint16_t stream, std::uint8_t flags,
             std::uint16_t rule) override {
    return Perform(m_counted.plan, Asked::kFillPacket,
                   [&] { return BasicPacket::Set(buffer, time, stream, flags, rule); });
  }

 private:
  ~ScriptedPacket() override { m_counted.plan.Tell(Asked::kEndPacket); }

  Counted m_counted;
};

class ScriptedList final : public host::ComObject<IQBPropertyList> {
 public:
  explicit ScriptedList(FaultPlan& plan) : m_counted(plan) {}
  ScriptedList(const ScriptedList&) = delete;
  ScriptedList& operator=(const ScriptedList&) = delete;

  Status QueryInterface(const GUID& id, void** object) override {
    return id == host::PropertyList::kId ? m_list->QueryInterface(id, object) : ComObject::QueryInterface(id, object);
  }

  Status SetULONG32(const char* name, std::uint32_t value) override {
    return Perform(m_counted.plan, Asked::kSetProperty, [&] { return m_list->SetULONG32(name, value); });
  }
  Status GetULONG32(const char* name, std::uint32_t* value) override {
    return Perform(m_counted.plan, Asked::kGetProperty, [&] { return m_list->GetULONG32(name, value); });
  }
  Status SetBuffer(const char* name, IQBBuffer* value) override {
    return Perform(m_counted.plan, Asked::kSetProperty, [&] { return m_list->SetBuffer(name, value); });
  }
  Status GetBuffer(const char* name, IQBBuffer** value) override {
    return Return(m_counted.plan, Asked::kGetProperty, value, [&] { return m_list->GetBuffer(name, value); });
  }
  Status SetCString(const char* name, IQBBuffer* value) override {
    return Perform(m_counted.plan, Asked::kSetProperty, [&] { return m_list->SetCString(name, value); });
  }
  Status GetCString(const char* name, IQBBuffer** value) override {
    return Return(m_counted.plan, Asked::kGetProperty, value, [&] { return m_list->GetCString(name, value); });
  }

 private:
  ~ScriptedList() override { m_counted.plan.Tell(Asked::kEndList); }

  Counted m_counted;
  ComPtr<host::PropertyList> m_list = host::MakeObject<host::PropertyList>();
};

}  // namespace

ComPtr<IQBBuffer> MakeScriptedBuffer(FaultPlan& plan, ComPtr<host::Buffer> buffer) {
  return ComPtr<IQBBuffer>::Adopt(host::MakeObject<ScriptedBuffer>(plan, std::move(buffer)).Detach());
}

ComPtr<IQBPropertyList> MakeScriptedList(FaultPlan& plan) {
  return ComPtr<IQBPropertyList>::Adopt(host::MakeObject<ScriptedList>(plan).Detach());
}

Status ScriptedContext::QueryInterface(const GUID& id, void** object) {
  return Return(m_counted.plan, Asked::kInterface, object, [&] { return ComObject::QueryInterface(id, object); });
}

Status ScriptedContext::CreateInstance(const GUID& classId, void** object) {
  FaultPlan& plan = m_counted.plan;
  return Return(plan, Asked::kObject, object, [&] {
    *object = nullptr;
    if (classId == IQBBuffer::kId) *object = MakeScriptedBuffer(plan, host::MakeObject<host::Buffer>()).Detach();
    if (classId == IQBPacket::kId) *object = host::MakeObject<ScriptedPacket>(plan).Detach();
    if (classId == IQBPropertyList::kId) *object = MakeScriptedList(plan).Detach();
    return *object != nullptr ? kOk : kNoInterface;
  });
}

Status ScriptedContext::ReadPref(const char* name, IQBBuffer** value) {
  return Return(m_counted.plan, Asked::kPreference, value, [&] { return m_preferences->ReadPref(name, value); });
}

Status ScriptedRequest::GetHeaders(IQBPropertyList** headers) {
  return Return(m_counted.plan, Asked::kRequest, headers, [&] {
    *headers = ComPtr<IQBPropertyList>(m_headers).Detach();
    return kOk;
  });
}

Status ScriptedRequest::GetURL(const char** url) {
  return Return(m_counted.plan, Asked::kRequest, url, [&] {
    *url = m_url.c_str();
    return kOk;
  });
}

}  // namespace qbflv::test
