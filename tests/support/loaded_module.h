// Where a loaded library lies in memory.
#pragma once

#include <cstdint>

namespace qbflv::test {

struct ModuleRange {
  std::uintptr_t begin = 0;
  std::uintptr_t end = 0;
};

/// Empty when the address is in no library.
ModuleRange FindModule(const void* anyAddressInIt);

}  // namespace qbflv::test
