// Plays many objects at once: several threads request packets of random objects.
#include "soak/crowd.h"

#include <fmt/format.h>

#include <atomic>
#include <future>
#include <mutex>
#include <optional>
#include <random>
#include <vector>

#include "soak/process_memory.h"

namespace qbflv::soak {

namespace {

struct Member {
  std::size_t file = 0;
  Client::Completions completions = Client::Completions::kInline;
  std::mutex mutex;
  std::optional<Client> client;
  bool finished = false;
};

using Random = std::mt19937_64;

/// Makes one call into the object: a pending completion, or a request on an idle stream.
void Step(Client& client, Random& random) {
  if (random() % 2 == 0 && client.RunCompletion()) return;
  const auto first = static_cast<std::uint16_t>(random() % client.StreamCount());
  for (std::uint16_t i = 0; i < client.StreamCount(); ++i) {
    const auto stream = static_cast<std::uint16_t>((first + i) % client.StreamCount());
    if (client.IsIdle(stream)) return client.RequestPacket(stream);
  }
  client.RunCompletion();
}

class Crowd {
 public:
  Crowd(const Server& server, const CrowdOptions& options)
      : m_server(server), m_options(options), m_members(options.objects), m_left(options.objects) {
    for (std::size_t i = 0; i < m_members.size(); ++i) {
      m_members[i].file = i / 2 % server.FileCount();
      m_members[i].completions = i % 2 == 0 ? Client::Completions::kInline : Client::Completions::kQueued;
    }
  }

  void Open() {
    ForEachMember([this](Member& member) {
      member.client.emplace(m_server, member.file, member.completions);
      if (!member.client->Start()) ++m_wrong;
    });
  }

  void Play() {
    if (m_wrong > 0) return;
    OnAllThreads([this](Random random) { PlayOnThisThread(random); });
  }

  void Close() {
    ForEachMember([this](Member& member) {
      for (const Digest& stream : member.client->Streams()) m_packets += stream.packets;
      if (member.client->Streams() != m_server.Expected(member.file)) ++m_wrong;
      member.client.reset();
    });
  }

  std::uint64_t Packets() const { return m_packets; }
  /// Returns the number of objects that did not open, or delivered other packets than a single object does.
  std::size_t Wrong() const { return m_wrong; }

 private:
  /// Throws what a thread threw, after all have ended.
  template <typename Work>
  void OnAllThreads(Work work) {
    std::vector<std::future<void>> threads;
    for (std::size_t i = 0; i < m_options.threads; ++i) {
      threads.push_back(std::async(std::launch::async, [this, work, seed = m_options.seed + i] {
        try {
          work(Random(seed));
        } catch (...) {
          m_hasThrown = true;
          throw;
        }
      }));
    }
    for (std::future<void>& thread : threads) thread.get();
  }

  template <typename Work>
  void ForEachMember(Work work) {
    std::atomic<std::size_t> next = 0;
    OnAllThreads([&](Random) {
      for (std::size_t i = next++; i < m_members.size(); i = next++) work(m_members[i]);
    });
  }

  void PlayOnThisThread(Random random) {
    // After an exception its object may never finish.
    while (m_left > 0 && !m_hasThrown) {
      Member& member = m_members[random() % m_members.size()];
      const std::unique_lock lock(member.mutex, std::try_to_lock);
      if (!lock || member.finished) continue;
      // Takes several steps at a time near the end, when most of the chosen objects have finished.
      for (std::size_t steps = m_members.size() / m_left; steps > 0 && !member.client->IsDone(); --steps) {
        Step(*member.client, random);
      }
      if (!member.client->IsDone()) continue;
      member.finished = true;
      --m_left;
    }
  }

  const Server& m_server;
  const CrowdOptions m_options;
  std::vector<Member> m_members;
  std::atomic<std::size_t> m_left;
  std::atomic<bool> m_hasThrown = false;
  std::atomic<std::size_t> m_wrong = 0;
  std::atomic<std::uint64_t> m_packets = 0;
};

}  // namespace

bool PlayCrowd(const Server& server, const CrowdOptions& options) {
  const ProcessMemory before = MeasureMemory();
  Crowd crowd(server, options);
  crowd.Open();
  const std::uint64_t perObject = (MeasureMemory().heap - before.heap) / options.objects;
  crowd.Play();
  crowd.Close();
  fmt::print("{} objects at once, {} threads: {} packets in random order, {} objects with wrong packets, {}\n",
             options.objects, options.threads, crowd.Packets(), crowd.Wrong(),
             server.IsEmpty() ? "no object left" : "OBJECTS ARE LEFT");
  if (perObject > 0) fmt::print("{} bytes of heap per open object, including its host objects\n", perObject);
  return crowd.Wrong() == 0 && server.IsEmpty();
}

}  // namespace qbflv::soak
