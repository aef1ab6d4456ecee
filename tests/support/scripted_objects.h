// The scripted host's objects besides the file: context, request, and the buffers, packets and lists that they make.
// Each asks the fault plan before it does its work.
#pragma once

#include <cstdint>
#include <string>

#include "host/buffer.h"
#include "host/com_object.h"
#include "host/preferences.h"
#include "host/property_list.h"
#include "tests/support/fault_plan.h"

namespace qbflv::test {

ComPtr<IQBBuffer> MakeScriptedBuffer(FaultPlan& plan, ComPtr<host::Buffer> buffer);

/// A list that is also the host's own class, which holds its values.
ComPtr<IQBPropertyList> MakeScriptedList(FaultPlan& plan);

/// Its own object factory and preferences.
class ScriptedContext final : public host::ComObject<IQBObjectFactory, IQBPreferences> {
 public:
  explicit ScriptedContext(FaultPlan& plan) : m_counted(plan) {}

  host::Preferences& Preferences() { return *m_preferences; }
  IUnknown* AsUnknown() { return static_cast<IQBObjectFactory*>(this); }

  Status QueryInterface(const GUID& id, void** object) override;
  Status CreateInstance(const GUID& classId, void** object) override;
  Status ReadPref(const char* name, IQBBuffer** value) override;

 private:
  Counted m_counted;
  ComPtr<host::Preferences> m_preferences = host::MakeObject<host::Preferences>();
};

class ScriptedRequest final : public host::ComObject<IQBRequest> {
 public:
  ScriptedRequest(FaultPlan& plan, std::string url) : m_counted(plan), m_url(std::move(url)) {}

  host::PropertyList& Headers() { return *m_values; }

  Status GetHeaders(IQBPropertyList** headers) override;
  Status GetURL(const char** url) override;

 private:
  Counted m_counted;
  std::string m_url;
  ComPtr<IQBPropertyList> m_headers = MakeScriptedList(m_counted.plan);
  ComPtr<host::PropertyList> m_values = QueryFor<host::PropertyList>(m_headers.Get());
};

}  // namespace qbflv::test
