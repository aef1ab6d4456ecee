#include <dlfcn.h>

#include "tests/support/loaded_module.h"

namespace qbflv::test {

ModuleRange FindModule(const void* anyAddressInIt) {
  dl_find_object module{};
  if (_dl_find_object(const_cast<void*>(anyAddressInIt), &module) != 0) return {};
  return {reinterpret_cast<std::uintptr_t>(module.dlfo_map_start),
          reinterpret_cast<std::uintptr_t>(module.dlfo_map_end)};
}

}  // namespace qbflv::test
