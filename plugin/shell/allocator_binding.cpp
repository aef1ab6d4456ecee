#include "plugin/shell/allocator_binding.h"

#include <atomic>

#include "plugin/platform/platform.h"

namespace qbflv {

namespace {

using NewFunction = platform::Allocator;
using DeleteFunction = void (*)(void*);

// No lock is needed: threads that bind at the same time store the same value.
std::atomic<NewFunction> g_pfnHostNew = nullptr;
std::atomic<DeleteFunction> g_pfnHostDelete = nullptr;
std::atomic<NewFunction> g_pfnHostNewArray = nullptr;
std::atomic<DeleteFunction> g_pfnHostDeleteArray = nullptr;

template <typename Function>
Function Bind(std::atomic<Function>& cached, platform::HeapOperator which, const char* message) {
  Function function = cached.load(std::memory_order_relaxed);
  if (function != nullptr) return function;
  function = reinterpret_cast<Function>(platform::FindHostHeapOperator(which));
  cached.store(function, std::memory_order_relaxed);
  if (function == nullptr) platform::WriteStandardError(message);
  return function;
}

void* CallNew(NewFunction function, std::size_t size) noexcept {
  return function != nullptr ? platform::CallAllocator(function, size) : nullptr;
}

}  // namespace

void* HostNew(std::size_t size) noexcept {
  return CallNew(Bind(g_pfnHostNew, platform::HeapOperator::kNew, "operator new: failed to bind\n"), size);
}

void* HostNewArray(std::size_t size) noexcept {
  return CallNew(Bind(g_pfnHostNewArray, platform::HeapOperator::kNewArray, "operator new[]: failed to bind\n"), size);
}

void HostDelete(void* block) noexcept {
  const auto function = Bind(g_pfnHostDelete, platform::HeapOperator::kDelete, "operator delete: failed to bind\n");
  if (function != nullptr) function(block);
}

void HostDeleteArray(void* block) noexcept {
  const auto function =
      Bind(g_pfnHostDeleteArray, platform::HeapOperator::kDeleteArray, "operator delete[]: failed to bind\n");
  if (function != nullptr) function(block);
}

}  // namespace qbflv
