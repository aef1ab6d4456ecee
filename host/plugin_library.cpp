// The plug-in's dynamic library, loaded as a server loads it.
#include "host/plugin_library.h"

#include <string>

#include "host/host_error.h"
#include "host/system.h"

namespace qbflv::host {

PluginLibrary::PluginLibrary(const std::filesystem::path& path) : m_path(std::filesystem::absolute(path)) {
  std::string error;
  m_library = system::OpenLibrary(m_path, error);
  if (m_library == nullptr) throw HostError("cannot load the plug-in: " + error);
  m_createInstance = reinterpret_cast<CreateInstanceFunction>(Resolve(kCreateInstanceName));
  m_canUnload = reinterpret_cast<CanUnloadFunction>(Resolve(kCanUnloadName));
  if (m_createInstance != nullptr && m_canUnload != nullptr) return;
  const char* const missing = m_createInstance == nullptr ? kCreateInstanceName : kCanUnloadName;
  system::CloseLibrary(m_library);
  throw HostError("cannot load the plug-in: " + m_path.string() + " does not export " + missing);
}

PluginLibrary::~PluginLibrary() {
  if (CanUnload()) system::CloseLibrary(m_library);
}

ComPtr<IQBPlugin> PluginLibrary::CreateInstance() const {
  ComPtr<IUnknown> object;
  const Status status = m_createInstance(object.Out());
  if (Failed(status)) throw HostError("the plug-in cannot create a file-format object", status);
  auto plugin = object.Query<IQBPlugin>();
  if (!plugin) throw HostError("the plug-in's object has no plug-in interface", kNoInterface);
  return plugin;
}

void* PluginLibrary::Resolve(const char* name) const { return system::FindExport(m_library, name); }

}  // namespace qbflv::host
