#include <link.h>

#include <algorithm>

#include "tests/support/loaded_module.h"

namespace qbflv::test {

namespace {

int TakeRangeAround(dl_phdr_info* info, std::size_t /*size*/, void* data) {
  ModuleRange& range = *static_cast<ModuleRange*>(data);
  ModuleRange whole{UINTPTR_MAX, 0};
  for (int i = 0; i < info->dlpi_phnum; ++i) {
    const ElfW(Phdr)& segment = info->dlpi_phdr[i];
    if (segment.p_type != PT_LOAD) continue;
    const std::uintptr_t begin = info->dlpi_addr + segment.p_vaddr;
    whole = {std::min(whole.begin, begin), std::max(whole.end, begin + segment.p_memsz)};
  }
  if (range.begin < whole.begin || range.begin >= whole.end) return 0;
  range = whole;
  return 1;
}

}  // namespace

ModuleRange FindModule(const void* anyAddressInIt) {
  const auto address = reinterpret_cast<std::uintptr_t>(anyAddressInIt);
  ModuleRange range{address, address};
  dl_iterate_phdr(&TakeRangeAround, &range);
  return range;
}

}  // namespace qbflv::test
