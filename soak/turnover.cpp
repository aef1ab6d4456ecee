#include "soak/turnover.h"

#include <fmt/format.h>

#include <algorithm>

#include "soak/process_memory.h"

namespace qbflv::soak {

namespace {

/// Objects after which the process has taken what it works with.
constexpr std::uint64_t kWarmUp = 10000;
/// What an allocator may keep more of at one time than at another.
constexpr std::uint64_t kAllowedGrowth = 1 << 20;

/// The number decides the file, the way of answering and the point at which the client goes away.
void Live(const Server& server, std::uint64_t number) {
  const std::uint64_t fate = number / 2 / server.FileCount();
  const auto completions = number % 2 == 0 ? Client::Completions::kInline : Client::Completions::kQueued;
  Client client(server, number / 2 % server.FileCount(), completions);
  if (fate % 8 == 1) client.Open();
  if (fate % 8 <= 1 || !client.Start()) return;
  for (std::uint64_t step = 0; step < fate % 8; ++step) {
    for (std::uint16_t stream = 0; stream < client.StreamCount(); ++stream) {
      if (client.IsIdle(stream)) client.Ask(stream);
    }
    // One answer too few: those that are late go away with their file.
    for (std::uint64_t answer = 0; answer < step; ++answer) client.RunCompletion();
    if (fate % 8 == 7 && step == 3) client.Seek(static_cast<std::uint32_t>(number % 3000));
  }
}

}  // namespace

bool OpenAndClose(const Server& server, std::uint64_t count) {
  for (std::uint64_t i = 0; i < std::min(kWarmUp, count); ++i) Live(server, i);
  const ProcessMemory before = MeasureMemory();
  for (std::uint64_t i = 0; i < count; ++i) Live(server, i);
  const ProcessMemory after = MeasureMemory();
  fmt::print("{} objects opened and closed: resident {} KiB before, {} KiB after; heap in use {} and {} bytes; {}\n",
             count, before.resident / 1024, after.resident / 1024, before.heap, after.heap,
             server.IsEmpty() ? "no object left" : "OBJECTS ARE LEFT");
  return after.resident <= before.resident + kAllowedGrowth && after.heap <= before.heap && server.IsEmpty();
}

}  // namespace qbflv::soak
