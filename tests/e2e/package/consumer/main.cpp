// Loads the installed plug-in as a server would and prints how it introduces itself.
#include <dlfcn.h>

#include <qbflvplus/com_ptr.h>
#include <qbflvplus/host_interfaces.h>
#include <cstdint>
#include <cstdio>

namespace {

int Fail(const char* what) {
  std::fprintf(stderr, "consumer: %s\n", what);
  return 1;
}

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
  void* const library = dlopen(PLUGIN_PATH, RTLD_NOW | RTLD_LOCAL);
  if (library == nullptr) return Fail(dlerror());
  const auto createInstance =
      reinterpret_cast<qbflv::CreateInstanceFunction>(dlsym(library, qbflv::kCreateInstanceName));
  const auto canUnload = reinterpret_cast<qbflv::CanUnloadFunction>(dlsym(library, qbflv::kCanUnloadName));
  if (createInstance == nullptr || canUnload == nullptr) return Fail("an export is missing");
  const int result = PrintPluginInfo(createInstance);
  if (canUnload() != qbflv::kOk) return Fail("the plug-in counts objects that are gone");
  dlclose(library);
  return result;
}
