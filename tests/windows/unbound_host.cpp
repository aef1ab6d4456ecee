// A host that exports no heap operators: every attempt fails, and says why on standard error, once each time. The
// library itself only ever gets as far as its first allocation; the other three operators are tried in the very code
// that it is built from.
#define WIN32_LEAN_AND_MEAN
#include <windows.h>

#include <cstdio>
#include <string>

#include "plugin/shell/allocator_binding.h"
#include "plugin/shell/host_interfaces.h"

namespace {

int failures = 0;

/// Runs the attempt, and gives what it writes to standard error.
template <typename Attempt>
std::string ErrorOf(Attempt attempt, bool& failed) {
  const HANDLE saved = GetStdHandle(STD_ERROR_HANDLE);
  HANDLE reader = nullptr;
  HANDLE writer = nullptr;
  CreatePipe(&reader, &writer, nullptr, 0);
  SetStdHandle(STD_ERROR_HANDLE, writer);
  failed = attempt();
  SetStdHandle(STD_ERROR_HANDLE, saved);
  CloseHandle(writer);
  char text[256];
  DWORD length = 0;
  if (ReadFile(reader, text, sizeof(text), &length, nullptr) == 0) length = 0;
  CloseHandle(reader);
  return std::string(text, length);
}

template <typename Attempt>
void ExpectMessage(const char* name, Attempt attempt) {
  for (int i = 1; i <= 3; ++i) {
    bool failed = false;
    const std::string text = ErrorOf(attempt, failed);
    if (failed && text == std::string(name) + ": failed to bind\n") continue;
    std::fprintf(stderr, "%s, attempt %d: %s, wrote \"%s\"\n", name, i, failed ? "failed" : "succeeded", text.c_str());
    ++failures;
  }
}

}  // namespace

int main(int count, char** arguments) {
  const HMODULE library = count == 2 ? LoadLibraryA(arguments[1]) : nullptr;
  if (library == nullptr) {
    std::fprintf(stderr, "usage: %s LIBRARY\n", arguments[0]);
    return 2;
  }
  const auto create = reinterpret_cast<qbflv::CreateInstanceFunction>(
      reinterpret_cast<void*>(GetProcAddress(library, qbflv::kCreateInstanceName)));
  const auto canUnload = reinterpret_cast<qbflv::CanUnloadFunction>(
      reinterpret_cast<void*>(GetProcAddress(library, qbflv::kCanUnloadName)));

  ExpectMessage("operator new", [&] {
    int something = 0;
    auto* object = reinterpret_cast<qbflv::IUnknown*>(&something);
    return create(&object) == qbflv::kOutOfMemory && object == nullptr;
  });
  int block = 0;
  ExpectMessage("operator new", [] { return qbflv::HostNew(8) == nullptr; });
  ExpectMessage("operator new[]", [] { return qbflv::HostNewArray(8) == nullptr; });
  ExpectMessage("operator delete", [&] { return qbflv::HostDelete(&block), true; });
  ExpectMessage("operator delete[]", [&] { return qbflv::HostDeleteArray(&block), true; });
  if (canUnload() != qbflv::kOk) {
    std::fprintf(stderr, "objects are left\n");
    ++failures;
  }
  return failures != 0 ? 1 : 0;
}
