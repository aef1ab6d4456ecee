#include "tests/unit/heap_probe.h"

#include <algorithm>
#include <cstdint>
#include <cstdlib>
#include <new>

namespace qbflv {

namespace {

struct Counts {
  /// Which probe counts; 0 when none does.
  std::uint32_t probe = 0;
  bool refused = false;
  std::size_t allowed = 0;
  std::size_t live = 0;
  std::size_t peak = 0;
  std::size_t total = 0;
};

// The tests run one thread at a time.
Counts g_counts;
std::uint32_t g_lastProbe = 0;

/// Stands in front of each block, and keeps the alignment of what malloc gives.
struct alignas(std::max_align_t) BlockHeader {
  std::size_t bytes;
  /// The probe that counted the block, or 0.
  std::uint32_t probe;
};

void* Allocate(std::size_t bytes, std::uint32_t probe) {
  auto* const header = static_cast<BlockHeader*>(std::malloc(sizeof(BlockHeader) + bytes));
  if (header == nullptr) return nullptr;
  *header = {bytes, probe};
  return header + 1;
}

void* AllocateOrThrow(std::size_t bytes) {
  void* const block = Allocate(bytes, 0);
  if (block == nullptr) throw std::bad_alloc();
  return block;
}

void* AllocateCounted(std::size_t bytes) {
  if (g_counts.probe == 0) return Allocate(bytes, 0);
  if (g_counts.allowed == 0) {
    g_counts.refused = true;
    return nullptr;
  }
  --g_counts.allowed;
  g_counts.live += bytes;
  g_counts.total += bytes;
  g_counts.peak = std::max(g_counts.peak, g_counts.live);
  return Allocate(bytes, g_counts.probe);
}

void Free(void* block) {
  if (block == nullptr) return;
  BlockHeader* const header = static_cast<BlockHeader*>(block) - 1;
  if (header->probe != 0 && header->probe == g_counts.probe) g_counts.live -= header->bytes;
  std::free(header);
}

}  // namespace

HeapProbe::HeapProbe(std::size_t allowed) { g_counts = {.probe = ++g_lastProbe, .allowed = allowed}; }
HeapProbe::~HeapProbe() { g_counts = {}; }
std::size_t HeapProbe::LiveBytes() const { return g_counts.live; }
std::size_t HeapProbe::PeakBytes() const { return g_counts.peak; }
std::size_t HeapProbe::TotalBytes() const { return g_counts.total; }
bool HeapProbe::HasRefused() const { return g_counts.refused; }

}  // namespace qbflv

void* operator new(std::size_t bytes) { return qbflv::AllocateOrThrow(bytes); }
void* operator new[](std::size_t bytes) { return qbflv::AllocateOrThrow(bytes); }
void* operator new(std::size_t bytes, const std::nothrow_t&) noexcept { return qbflv::AllocateCounted(bytes); }
void* operator new[](std::size_t bytes, const std::nothrow_t&) noexcept { return qbflv::AllocateCounted(bytes); }
void operator delete(void* block) noexcept { qbflv::Free(block); }
void operator delete[](void* block) noexcept { qbflv::Free(block); }
void operator delete(void* block, std::size_t) noexcept { qbflv::Free(block); }
void operator delete[](void* block, std::size_t) noexcept { qbflv::Free(block); }
void operator delete(void* block, const std::nothrow_t&) noexcept { qbflv::Free(block); }
void operator delete[](void* block, const std::nothrow_t&) noexcept { qbflv::Free(block); }
