// A memory-mapped file that stays readable when the file is truncated.
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

/// An element of a list that only grows, so that the signal handler needs no lock. Guards of unmapped files are reused.
struct MappedFile::Guard {
  std::atomic<std::uintptr_t> begin = 0;
  /// Equals begin if the guard is free.
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

/// The system repeats the access when the handler returns. If the address belongs to a mapped file, the access then
/// reads an empty page; otherwise the handler that was installed before gets the signal.
void OnBusError(int signal, siginfo_t* info, void* context) {
  const int error = errno;
  const auto address = reinterpret_cast<std::uintptr_t>(info->si_addr);
  Guard* const guard = FindGuard(address);
  if (guard != nullptr) {
    // NOLINTNEXTLINE(performance-no-int-to-ptr): rounds an address down to its page
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

/// Owns the guards. Keeps the signal handler installed while this library is loaded.
class GuardList {
 public:
  GuardList() {
    PageSize();  // initialises the value before the handler needs it
    struct sigaction action {};
    action.sa_sigaction = OnBusError;
    action.sa_flags = SA_SIGINFO;
    sigemptyset(&action.sa_mask);
    sigaction(SIGBUS, &action, &g_previous);
  }
  GuardList(const GuardList&) = delete;
  GuardList& operator=(const GuardList&) = delete;
  /// Restores the previous handler unless another one has replaced OnBusError since.
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
    // Keep the range empty until both ends are set.
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

/// Returns the list. The first call installs the signal handler.
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
  // Free the guard first: another thread may map something else here as soon as the file is unmapped.
  Guards().Free(m_guard);
  munmap(const_cast<std::uint8_t*>(m_bytes.data()), m_bytes.size());
}

bool MappedFile::Load(std::size_t offset, std::size_t size) const {
  const std::size_t begin = offset & ~(PageSize() - 1);
  const std::size_t end = offset + std::min(size, m_bytes.size() - offset);
  auto* const memory = const_cast<std::uint8_t*>(m_bytes.data()) + begin;
  while (madvise(memory, end - begin, MADV_POPULATE_READ) != 0) {
    // Kernels before 5.14 do not have this advice.
    if (errno == EINVAL) return TouchPages(begin, end);
    if (errno != EINTR && errno != EAGAIN) return false;
  }
  return true;
}

/// Reads a byte of each page. Returns false at the first page that the file has lost.
bool MappedFile::TouchPages(std::size_t begin, std::size_t end) const {
  const volatile std::uint8_t* const bytes = m_bytes.data();
  for (std::size_t page = begin; page < end && !HasLostBytes(); page += PageSize()) static_cast<void>(bytes[page]);
  if (HasLostBytes()) errno = EFAULT;
  return !HasLostBytes();
}

bool MappedFile::HasLostBytes() const { return m_guard.hasLostBytes; }

}  // namespace qbflv::server
