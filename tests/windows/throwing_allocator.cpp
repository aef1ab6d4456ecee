// A host's allocator may be built with any compiler and throw as that one does: the library takes it for "no memory".
#define WIN32_LEAN_AND_MEAN
#include <windows.h>

#include <cstdio>
#include <cstdlib>
#include <new>

#include "plugin/platform/platform.h"

namespace {

int unwound = 0;

struct Witness {
  ~Witness() { ++unwound; }
};

void* ThrowAsGnu(std::size_t /*size*/) {
  const Witness witness;
  throw std::bad_alloc();
}

void* ThrowAsMicrosoft(std::size_t /*size*/) {
  constexpr DWORD kMicrosoftException = 0xE06D7363;
  RaiseException(kMicrosoftException, EXCEPTION_NONCONTINUABLE, 0, nullptr);
  return nullptr;
}

}  // namespace

int main() {
  // Often, so that a stack that is not put right again would show.
  for (int i = 1; i <= 10000; ++i) {
    const bool none = qbflv::platform::CallAllocator(&ThrowAsGnu, 8) == nullptr &&
                      qbflv::platform::CallAllocator(&ThrowAsMicrosoft, 8) == nullptr;
    void* const block = qbflv::platform::CallAllocator(&std::malloc, 8);
    if (none && block != nullptr && unwound == i) {
      std::free(block);
      continue;
    }
    std::fprintf(stderr, "round %d: no memory %d, block %p, frames unwound %d\n", i, none, block, unwound);
    return 1;
  }
  return 0;
}
