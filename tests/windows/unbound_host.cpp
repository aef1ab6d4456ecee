// A host that exports no heap operators: every attempt fails, and says why on standard error, once each time; ctest
// compares what stands there. The library itself only ever gets as far as its first allocation; the other three
// operators are tried in the very code that it is built from.
#define WIN32_LEAN_AND_MEAN
#include <windows.h>

#include <cstdio>

#include "plugin/shell/allocator_binding.h"
#include "plugin/shell/host_interfaces.h"

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

  int block = 0;
  int successes = 0;
  std::fputs("attempts:\n", stderr);
  std::fflush(stderr);
  for (int i = 0; i < 3; ++i) {
    auto* object = reinterpret_cast<qbflv::IUnknown*>(&block);
    successes += create(&object) == qbflv::kOutOfMemory && object == nullptr ? 0 : 1;
    successes += qbflv::HostNew(8) == nullptr ? 0 : 1;
    successes += qbflv::HostNewArray(8) == nullptr ? 0 : 1;
    qbflv::HostDelete(&block);
    qbflv::HostDeleteArray(&block);
  }
  std::fprintf(stderr, "%d successes, %s\n", successes, canUnload() == qbflv::kOk ? "no objects" : "objects are left");
  return 0;
}
