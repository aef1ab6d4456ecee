// The operating system as Linux has it.
#include <dlfcn.h>
#include <unistd.h>

#include <cstring>

#include "plugin/platform/platform.h"

namespace qbflv::platform {

namespace {

/// The operators' names as the C++ ABI of the platform mangles them.
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
  // The handle of the main program searches its global scope. RTLD_DEFAULT would search this library's own scope as
  // well, and so find the operators of the C++ runtime that the library brings along, also where the host loaded it
  // with RTLD_LOCAL to keep that runtime to itself.
  void* const mainProgram = dlopen(nullptr, RTLD_LAZY);
  if (mainProgram == nullptr) return nullptr;
  void* const address = dlsym(mainProgram, MangledName(which));
  dlclose(mainProgram);
  return address;
}

void* CallAllocator(Allocator function, std::size_t size) {
  try {
    return function(size);
  } catch (...) {  // std::bad_alloc, or what else the host's operator throws
    return nullptr;
  }
}

const char* NextCharacter(const char* text) { return text + 1; }  // no double-byte code pages here

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
