// The path of the library that contains this code, on Windows.
#define WIN32_LEAN_AND_MEAN
#include <windows.h>

#include <string>

#include "watch/own_path.h"

namespace qbflv::watch {

std::filesystem::path OwnPath() {
  static const char mark = 0;
  HMODULE module = nullptr;
  constexpr DWORD kFlags = GET_MODULE_HANDLE_EX_FLAG_FROM_ADDRESS | GET_MODULE_HANDLE_EX_FLAG_UNCHANGED_REFCOUNT;
  if (GetModuleHandleExW(kFlags, reinterpret_cast<const wchar_t*>(&mark), &module) == 0) return {};
  std::wstring path(MAX_PATH, L'\0');
  for (;;) {
    const DWORD length = GetModuleFileNameW(module, path.data(), static_cast<DWORD>(path.size()));
    if (length < path.size()) return path.substr(0, length);
    path.resize(path.size() * 2);
  }
}

}  // namespace qbflv::watch
