#include <stdexcept>
#include <string>

#include "host/system.h"
#include "tests/support/library_heap.h"
#include "tests/support/plugin_exports.h"

namespace qbflv::test {

const PluginExports& Exports() {
  static const PluginExports exports = [] {
    std::string error;
    void* const library = host::system::OpenLibrary(QBFLV_PLUGIN_PATH, error);
    if (library == nullptr) throw std::runtime_error(error);
    void* const create = host::system::FindExport(library, kCreateInstanceName);
    WatchLibrary(create);
    return PluginExports{reinterpret_cast<CreateInstanceFunction>(create),
                         reinterpret_cast<CanUnloadFunction>(host::system::FindExport(library, kCanUnloadName))};
  }();
  return exports;
}

}  // namespace qbflv::test
