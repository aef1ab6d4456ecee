#define WIN32_LEAN_AND_MEAN
#include <windows.h>

#include "tests/support/loaded_module.h"

namespace qbflv::test {

ModuleRange FindModule(const void* anyAddressInIt) {
  constexpr DWORD kByAddress = GET_MODULE_HANDLE_EX_FLAG_FROM_ADDRESS | GET_MODULE_HANDLE_EX_FLAG_UNCHANGED_REFCOUNT;
  HMODULE module = nullptr;
  if (GetModuleHandleExW(kByAddress, static_cast<const wchar_t*>(anyAddressInIt), &module) == 0) return {};
  // A module's handle is the address of its image, which begins with its headers.
  const auto begin = reinterpret_cast<std::uintptr_t>(module);
  const auto* const dosHeader = reinterpret_cast<const IMAGE_DOS_HEADER*>(begin);
  const auto* const headers =
      reinterpret_cast<const IMAGE_NT_HEADERS*>(begin + static_cast<std::uintptr_t>(dosHeader->e_lfanew));
  return {begin, begin + headers->OptionalHeader.SizeOfImage};
}

}  // namespace qbflv::test
