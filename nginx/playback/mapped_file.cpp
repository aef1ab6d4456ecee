// A file in the address space, guarded against the bytes that it may lose.
#include "nginx/playback/mapped_file.h"

#include <sys/mman.h>
#include <unistd.h>

#include <algorithm>
#include <atomic>
#include <cerrno>
#include <csignal>
#include <mutex>
#include <vector>

namespace qbflv::server {

/// They form a list that only grows, so that the handler needs no lock; those of files that are gone are used again.
struct MappedFile::Guard {
  std::atomic<std::uintptr_t> begin = 0;
  /// The same as begin if there is no file.
  std::atomic<std::uintptr_t> end = 0;
  std::atomic<bool> hasLostBytes = false;
  Guard* next = nullptr;
};

namespace {

using Guard = MappedFile::Guard;

std::atomic<Guard*> g_guards = nullptr;
struct sigaction g_previous {};

std::uintptr_t PageSize() {
  static const auto size = static_cast<std::uintptr_t>(sysconf(_SC_PAGESIZE));
  return size;
}

Guard* FindGuard(std::uintptr_t address) {
  for (Guard* guard = g_guards.load(); guard != nullptr; guard = guard->next) {
    if (address >= guard->begin && address < guard->end) return guard;
  }
  return nullptr;
}

/// Returning repeats the access: with an empty page it succeeds, and otherwise whoever is responsible is called.
void OnBusError(int signal, siginfo_t* info, void* context) {
  const int error = errno;
  const auto address = reinterpret_cast<std::uintptr_t>(info->si_addr);
  Guard* const guard = FindGuard(address);
  if (guard != nullptr) {
    // NOLINTNEXTLINE(performance-no-int-to-ptr): the page of an address
    void* const page = reinterpret_cast<void*>(address & ~(PageSize() - 1));
    guard->hasLostBytes = true;
    constexpr int kEmpty = MAP_PRIVATE | MAP_ANONYMOUS | MAP_FIXED;
    if (mmap(page, PageSize(), PROT_READ, kEmpty, -1, 0) != MAP_FAILED) {
      errno = error;
      return;
    }
  }
  if ((g_previous.sa_flags & SA_SIGINFO) != 0) {
    g_previous.sa_sigaction(signal, info, context);
  } else {
    sigaction(signal, &g_previous, nullptr);
  }
  errno = error;
}

/// Owns the guards, and the handler while this library is loaded.
class GuardList {
 public:
  GuardList() {
    PageSize();
    struct sigaction action {};
    action.sa_sigaction = OnBusError;
    action.sa_flags = SA_SIGINFO;
    sigemptyset(&action.sa_mask);
    sigaction(SIGBUS, &action, &g_previous);
  }
  GuardList(const GuardList&) = delete;
  GuardList& operator=(const GuardList&) = delete;
  /// Others may have put their handler in front of this one.
  ~GuardList() {
    struct sigaction current {};
    sigaction(SIGBUS, nullptr, &current);
    const bool isOwn = (current.sa_flags & SA_SIGINFO) != 0 && current.sa_sigaction == OnBusError;
    if (isOwn) sigaction(SIGBUS, &g_previous, nullptr);
    g_guards = nullptr;
  }

  Guard& Take(std::uintptr_t begin, std::size_t size) {
    const std::lock_guard lock(m_mutex);
    Guard* guard = g_guards;
    while (guard != nullptr && guard->begin != guard->end) guard = guard->next;
    if (guard == nullptr) {
      guard = m_guards.emplace_back(std::make_unique<Guard>()).get();
      guard->next = g_guards;
      g_guards = guard;
    }
    guard->hasLostBytes = false;
    // Empty until both ends are known.
    guard->end = 0;
    guard->begin = begin;
    guard->end = begin + size;
    return *guard;
  }

  void Free(Guard& guard) {
    const std::lock_guard lock(m_mutex);
    guard.end = guard.begin.load();
  }

 private:
  std::mutex m_mutex;
  std::vector<std::unique_ptr<Guard>> m_guards;
};

/// Installs the handler when the first file is mapped.
GuardList& Guards() {
  static GuardList list;
  return list;
}

}  // namespace

std::unique_ptr<MappedFile> MappedFile::Map(int descriptor, std::size_t size) {
  GuardList& guards = Guards();
  void* const memory = mmap(nullptr, size, PROT_READ, MAP_PRIVATE, descriptor, 0);
  if (memory == MAP_FAILED) return nullptr;
  try {
    Guard& guard = guards.Take(reinterpret_cast<std::uintptr_t>(memory), size);
    const std::span bytes(static_cast<const std::uint8_t*>(memory), size);
    return std::unique_ptr<MappedFile>(new MappedFile(bytes, guard));
  } catch (...) {
    munmap(memory, size);
    throw;
  }
}

MappedFile::~MappedFile() {
  // First the guard, since another thread may get the addresses as soon as they are unmapped.
  Guards().Free(m_guard);
  munmap(const_cast<std::uint8_t*>(m_bytes.data()), m_bytes.size());
}

bool MappedFile::Load(std::size_t offset, std::size_t size) const {
  const std::size_t begin = offset & ~(PageSize() - 1);
  const std::size_t end = offset + std::min(size, m_bytes.size() - offset);
  auto* const memory = const_cast<std::uint8_t*>(m_bytes.data()) + begin;
  while (madvise(memory, end - begin, MADV_POPULATE_READ) != 0) {
    // A kernel before 5.14 reads when the bytes are touched.
    if (errno == EINVAL) return true;
    if (errno != EINTR && errno != EAGAIN) return false;
  }
  return true;
}

bool MappedFile::HasLostBytes() const { return m_guard.hasLostBytes; }

}  // namespace qbflv::server
