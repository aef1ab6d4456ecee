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

/// While it lives, what goes to standard error is kept.
class CaughtError {
 public:
  CaughtError() : m_saved(GetStdHandle(STD_ERROR_HANDLE)) {
    CreatePipe(&m_read, &m_write, nullptr, 0);
    SetStdHandle(STD_ERROR_HANDLE, m_write);
  }
  CaughtError(const CaughtError&) = delete;
  CaughtError& operator=(const CaughtError&) = delete;
  ~CaughtError() {
    SetStdHandle(STD_ERROR_HANDLE, m_saved);
    CloseHandle(m_read);
  }

  std::string Text() {
    CloseHandle(m_write);
    char text[256];
    DWORD length = 0;
    if (ReadFile(m_read, text, sizeof(text), &length, nullptr) == 0) length = 0;
    return std::string(text, length);
  }

 private:
  HANDLE m_saved;
  HANDLE m_read = nullptr;
  HANDLE m_write = nullptr;
};

int failures = 0;

template <typename Attempt>
void ExpectMessage(const char* name, Attempt attempt) {
  for (int i = 1; i <= 3; ++i) {
    CaughtError error;
    const bool failed = attempt();
    const std::string text = error.Text();
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
