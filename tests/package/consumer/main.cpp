// Loads the installed plug-in as a server would and prints how it introduces itself.
#ifdef _WIN32
#include <windows.h>
#else
#include <dlfcn.h>
#endif

#include <qbflvplus/com_ptr.h>
#include <qbflvplus/host_interfaces.h>
#include <cstdint>
#include <cstdio>

namespace {

#ifdef _WIN32
void* Find(const char* name) { return reinterpret_cast<void*>(GetProcAddress(LoadLibraryA(PLUGIN_PATH), name)); }
#else
void* Find(const char* name) { return dlsym(dlopen(PLUGIN_PATH, RTLD_NOW | RTLD_LOCAL), name); }
#endif

}  // namespace

int main() {
  const auto createInstance = reinterpret_cast<qbflv::CreateInstanceFunction>(Find(qbflv::kCreateInstanceName));
  const auto canUnload = reinterpret_cast<qbflv::CanUnloadFunction>(Find(qbflv::kCanUnloadName));
  if (createInstance == nullptr || canUnload == nullptr) return 1;
  {
    qbflv::ComPtr<qbflv::IUnknown> object;
    if (qbflv::Failed(createInstance(object.Out()))) return 2;
    const auto plugin = object.Query<qbflv::IQBPlugin>();
    if (!plugin) return 3;
    std::uint32_t flag = 0;
    std::uint32_t version = 0;
    const char* description = nullptr;
    const char* copyright = nullptr;
    const char* moreInfo = nullptr;
    plugin->GetPluginInfo(&flag, &description, &copyright, &moreInfo, &version);
    std::printf("%s\n", description);
  }
  return canUnload() == qbflv::kOk ? 0 : 4;
}
