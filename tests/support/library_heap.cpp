#include "tests/support/library_heap.h"

#include <atomic>
#include <cstddef>
#include <cstdlib>
#include <new>

#include "tests/support/loaded_module.h"

namespace qbflv::test {

namespace {

/// Stands in front of every block, whoever took it.
struct alignas(std::max_align_t) BlockHeader {
  std::size_t size;
  bool fromLibrary;
  bool array;
};

// Constant-initialised: the operators are used before and after everything else.
constinit std::atomic<std::uintptr_t> libraryBegin{0};
constinit std::atomic<std::uintptr_t> libraryEnd{0};
constinit std::atomic<bool> nothrowIsWatched{false};
constinit std::atomic<std::int64_t> allocations{0};
constinit std::atomic<std::int64_t> liveBlocks{0};
constinit std::atomic<std::int64_t> mismatches{0};
constinit std::atomic<std::int64_t> liveBytes{0};
constinit std::atomic<std::int64_t> peakBytes{0};
/// Allocations until the shortage, the failing one included; 0 when there is none.
constinit std::atomic<std::int64_t> untilShortage{0};
constinit std::atomic<bool> shortageThrows{false};
constinit std::atomic<bool> shortageStays{false};
constinit std::atomic<bool> shortageStruck{false};

bool FromLibrary(const void* returnAddress) {
  const auto address = reinterpret_cast<std::uintptr_t>(returnAddress);
  return address >= libraryBegin && address < libraryEnd;
}

bool ShortageStrikes() {
  if (untilShortage == 0) return false;
  if (untilShortage > 1) {
    --untilShortage;
    return false;
  }
  if (!shortageStays) untilShortage = 0;
  shortageStruck = true;
  return true;
}

void* AllocateOrNull(std::size_t size, bool fromLibrary, bool array) {
  void* const memory = std::malloc(sizeof(BlockHeader) + size);
  if (memory == nullptr) return nullptr;
  auto* const header = new (memory) BlockHeader{size, fromLibrary, array};
  if (fromLibrary) {
    ++allocations;
    ++liveBlocks;
    liveBytes += static_cast<std::int64_t>(size);
    if (liveBytes > peakBytes) peakBytes = liveBytes.load();
  }
  return header + 1;
}

void* Allocate(std::size_t size, const void* caller, bool array) {
  const bool fromLibrary = FromLibrary(caller);
  void* block = nullptr;
  if (!fromLibrary || !ShortageStrikes()) block = AllocateOrNull(size, fromLibrary, array);
  if (block == nullptr && (!fromLibrary || shortageThrows)) throw std::bad_alloc();
  return block;
}

void* AllocateNothrow(std::size_t size, bool array) {
  const bool isWatched = nothrowIsWatched;
  if (isWatched && ShortageStrikes()) return nullptr;
  return AllocateOrNull(size, isWatched, array);
}

void Free(void* block, bool array) {
  if (block == nullptr) return;
  BlockHeader* const header = static_cast<BlockHeader*>(block) - 1;
  if (header->fromLibrary) {
    --liveBlocks;
    liveBytes -= static_cast<std::int64_t>(header->size);
    if (header->array != array) ++mismatches;
  }
  std::free(header);
}

}  // namespace

LibraryHeap ReadLibraryHeap() { return {allocations, liveBlocks, mismatches, liveBytes, peakBytes}; }

void ForgetPeak() { peakBytes = liveBytes.load(); }

HeapShortage::HeapShortage(std::int64_t nth, Shortage shortage, bool everyAfter) {
  shortageThrows = shortage == Shortage::kThrows;
  shortageStays = everyAfter;
  shortageStruck = false;
  untilShortage = nth;
}

HeapShortage::~HeapShortage() { untilShortage = 0; }

bool HeapShortage::Struck() const { return shortageStruck; }

void WatchLibrary(const void* anyAddressInIt) {
  const ModuleRange range = FindModule(anyAddressInIt);
  libraryBegin = range.begin;
  libraryEnd = range.end;
}

void WatchNothrow() { nothrowIsWatched = true; }

}  // namespace qbflv::test

// The forms that the library binds, and the others, so that every block has its header.
using qbflv::test::Allocate;
using qbflv::test::AllocateNothrow;
using qbflv::test::Free;

void* operator new(std::size_t size) { return Allocate(size, __builtin_return_address(0), false); }
void* operator new[](std::size_t size) { return Allocate(size, __builtin_return_address(0), true); }
void operator delete(void* block) noexcept { Free(block, false); }
void operator delete[](void* block) noexcept { Free(block, true); }
void* operator new(std::size_t size, const std::nothrow_t&) noexcept { return AllocateNothrow(size, false); }
void* operator new[](std::size_t size, const std::nothrow_t&) noexcept { return AllocateNothrow(size, true); }
void operator delete(void* block, std::size_t) noexcept { Free(block, false); }
void operator delete[](void* block, std::size_t) noexcept { Free(block, true); }
void operator delete(void* block, const std::nothrow_t&) noexcept { Free(block, false); }
void operator delete[](void* block, const std::nothrow_t&) noexcept { Free(block, true); }
