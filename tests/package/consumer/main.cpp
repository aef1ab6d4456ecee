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

int Fail(const char* what) {
  std::fprintf(stderr, "consumer: %s\n", what);
  return 1;
}

#ifdef _WIN32
using Library = HMODULE;
Library Load(const char* path) { return LoadLibraryA(path); }
void* Find(Library library, const char* name) { return reinterpret_cast<void*>(GetProcAddress(library, name)); }
void Unload(Library library) { FreeLibrary(library); }
#else
using Library = void*;
Library Load(const char* path) { return dlopen(path, RTLD_NOW | RTLD_LOCAL); }
void* Find(Library library, const char* name) { return dlsym(library, name); }
void Unload(Library library) { dlclose(library); }
#endif

int PrintPluginInfo(qbflv::CreateInstanceFunction createInstance) {
  qbflv::ComPtr<qbflv::IUnknown> object;
  if (qbflv::Failed(createInstance(object.Out()))) return Fail("no object");
  const auto plugin = object.Query<qbflv::IQBPlugin>();
  if (!plugin) return Fail("the object is no plug-in");
  std::uint32_t flag = 0;
  std::uint32_t version = 0;
  const char* description = nullptr;
  const char* copyright = nullptr;
  const char* moreInfo = nullptr;
  plugin->GetPluginInfo(&flag, &description, &copyright, &moreInfo, &version);
  std::printf("%s\n", description);
  return 0;
}

}  // namespace

int main() {
  const Library library = Load(PLUGIN_PATH);
  if (library == nullptr) return Fail("cannot load " PLUGIN_PATH);
  const auto createInstance =
      reinterpret_cast<qbflv::CreateInstanceFunction>(Find(library, qbflv::kCreateInstanceName));
  const auto canUnload = reinterpret_cast<qbflv::CanUnloadFunction>(Find(library, qbflv::kCanUnloadName));
  if (createInstance == nullptr || canUnload == nullptr) return Fail("an export is missing");
  const int result = PrintPluginInfo(createInstance);
  if (canUnload() != qbflv::kOk) return Fail("the plug-in counts objects that are gone");
  Unload(library);
  return result;
}
