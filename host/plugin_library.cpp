// The plug-in's dynamic library, loaded with the system loader as a server would.
#include "host/plugin_library.h"

#include <dlfcn.h>

#include <string>

#include "host/host_error.h"

namespace qbflv::host {

PluginLibrary::PluginLibrary(const std::filesystem::path& path) : m_path(std::filesystem::absolute(path)) {
  m_library = dlopen(m_path.c_str(), RTLD_NOW | RTLD_LOCAL);
  if (m_library == nullptr) throw HostError(std::string("cannot load the plug-in: ") + dlerror());
  m_createInstance = reinterpret_cast<CreateInstanceFunction>(Resolve(kCreateInstanceName));
  m_canUnload = reinterpret_cast<CanUnloadFunction>(Resolve(kCanUnloadName));
  if (m_createInstance != nullptr && m_canUnload != nullptr) return;
  const char* const missing = m_createInstance == nullptr ? kCreateInstanceName : kCanUnloadName;
  dlclose(m_library);
  throw HostError("cannot load the plug-in: " + m_path.string() + " does not export " + missing);
}

PluginLibrary::~PluginLibrary() {
  if (CanUnload()) dlclose(m_library);
}

ComPtr<IQBPlugin> PluginLibrary::CreateInstance() const {
  ComPtr<IUnknown> object;
  const Status status = m_createInstance(object.Out());
  if (Failed(status)) throw HostError("the plug-in makes no file-format object", status);
  auto plugin = object.Query<IQBPlugin>();
  if (!plugin) throw HostError("the plug-in's object lacks its interface", kNoInterface);
  return plugin;
}

void* PluginLibrary::Resolve(const char* name) const { return dlsym(m_library, name); }

}  // namespace qbflv::host
