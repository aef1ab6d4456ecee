// Opens and closes objects one after another, each at a different stage of its life.
#include "soak/turnover.h"

#include <fmt/format.h>

#include <algorithm>

#include "soak/process_memory.h"

namespace qbflv::soak {

namespace {

/// Number of objects after which the memory use of the process is steady.
constexpr std::uint64_t kWarmUpObjects = 10000;
/// Tolerance for memory that the allocator keeps, in bytes.
constexpr std::uint64_t kMaxGrowth = 1 << 20;

/// Creates, uses and closes one object. The number selects the file, the kind of completions, and how far the client
/// gets before it closes.
void RunObject(const Server& server, std::uint64_t number) {
  const std::uint64_t variant = number / 2 / server.FileCount() % 8;
  const auto completions = number % 2 == 0 ? Client::Completions::kInline : Client::Completions::kQueued;
  Client client(server, number / 2 % server.FileCount(), completions);
  if (variant == 1) client.Open();
  if (variant <= 1 || !client.Start()) return;
  for (std::uint64_t step = 0; step < variant; ++step) {
    for (std::uint16_t stream = 0; stream < client.StreamCount(); ++stream) {
      if (client.IsIdle(stream)) client.RequestPacket(stream);
    }
    // Leaves a completion pending, so that the file is closed with it.
    for (std::uint64_t i = 0; i < step; ++i) client.RunCompletion();
    if (variant == 7 && step == 3) client.Seek(static_cast<std::uint32_t>(number % 3000));
  }
}

}  // namespace

bool OpenAndClose(const Server& server, std::uint64_t count) {
  for (std::uint64_t i = 0; i < std::min(kWarmUpObjects, count); ++i) RunObject(server, i);
  const ProcessMemory before = MeasureMemory();
  for (std::uint64_t i = 0; i < count; ++i) RunObject(server, i);
  const ProcessMemory after = MeasureMemory();
  fmt::print("{} objects opened and closed: resident {} KiB before, {} KiB after; heap in use {} and {} bytes; {}\n",
             count, before.resident / 1024, after.resident / 1024, before.heap, after.heap,
             server.IsEmpty() ? "no object left" : "OBJECTS ARE LEFT");
  return after.resident <= before.resident + kMaxGrowth && after.heap <= before.heap && server.IsEmpty();
}

}  // namespace qbflv::soak
