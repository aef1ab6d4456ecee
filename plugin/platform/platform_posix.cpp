// Implements platform.h for Linux.
#include <dlfcn.h>
#include <unistd.h>

#include <cstring>

#include "plugin/platform/platform.h"

namespace qbflv::platform {

namespace {

/// The names that the platform's C++ ABI gives the operators.
const char* MangledName(HeapOperator which) {
  switch (which) {
    case HeapOperator::kNew:
      return "_Znwm";
    case HeapOperator::kDelete:
      return "_ZdlPv";
    case HeapOperator::kNewArray:
      return "_Znam";
    case HeapOperator::kDeleteArray:
      return "_ZdaPv";
  }
  return nullptr;
}

}  // namespace

void* FindHostHeapOperator(HeapOperator which) {
  // The handle of the main program searches the global scope. RTLD_DEFAULT would also search this library's scope and
  // find the operators of the library's C++ runtime, even if the host loaded the library with RTLD_LOCAL.
  void* const mainProgram = dlopen(nullptr, RTLD_LAZY);
  if (mainProgram == nullptr) return nullptr;
  void* const address = dlsym(mainProgram, MangledName(which));
  dlclose(mainProgram);
  return address;
}

void* CallAllocator(Allocator function, std::size_t size) {
  try {
    return function(size);
  } catch (...) {
    return nullptr;
  }
}

const char* NextCharacter(const char* text) { return text + 1; }  // Linux has no double-byte code pages

void WriteStandardError(const char* text) {
  std::size_t left = std::strlen(text);
  while (left > 0) {
    const ssize_t written = write(STDERR_FILENO, text, left);
    if (written <= 0) return;
    text += written;
    left -= static_cast<std::size_t>(written);
  }
}

}  // namespace qbflv::platform
