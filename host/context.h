// The host's context: gives the plug-in the object factory and the preferences.
#pragma once

#include <string>
#include <utility>
#include <vector>

#include "host/com_object.h"

namespace qbflv::host {

/// Forwards queries for other interfaces to the factory, then to the preferences. Either may be null.
class Context final : public ComObject<IUnknown> {
 public:
  Context(ComPtr<IQBObjectFactory> factory, ComPtr<IQBPreferences> preferences)
      : m_factory(std::move(factory)), m_preferences(std::move(preferences)) {}

  Status QueryInterface(const GUID& id, void** object) override {
    Status status = ComObject::QueryInterface(id, object);
    if (status == kNoInterface && m_factory) status = m_factory->QueryInterface(id, object);
    if (status == kNoInterface && m_preferences) status = m_preferences->QueryInterface(id, object);
    return status;
  }

 private:
  ComPtr<IQBObjectFactory> m_factory;
  ComPtr<IQBPreferences> m_preferences;
};

using NamedTexts = std::vector<std::pair<std::string, std::string>>;

/// Returns a context with this host's object factory and the given preferences.
ComPtr<Context> MakeContext(const NamedTexts& preferences = {});

}  // namespace qbflv::host
