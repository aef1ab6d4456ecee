// The cases that are measured with the plug-in and with libavformat.
#include "bench/cases.h"

#include <benchmark/benchmark.h>
#include <fmt/format.h>

#include <chrono>
#include <deque>
#include <random>
#include <vector>

#include "bench/av_reader.h"
#include "bench/media_tags.h"
#include "bench/reader.h"
#include "bench/table.h"
#include "flv/view_cache.h"
#include "host/host_error.h"

namespace qbflv::bench {

namespace {

using Clock = std::chrono::steady_clock;

constexpr std::uint32_t kSessions = 10000;

/// Random seek times, in the same sequence for both readers. The minimum is 1 s, because libavformat may refuse earlier
/// times.
class RandomTimes {
 public:
  explicit RandomTimes(const Input& input) : m_times(1000, CountMediaTags(input.file).lastTime) {}
  std::uint32_t Next() { return m_times(m_random); }

 private:
  std::mt19937 m_random{1};
  std::uniform_int_distribution<std::uint32_t> m_times;
};

template <typename Measure>
void Add(const std::string& name, const char* side, Measure measure) {
  benchmark::RegisterBenchmark(NameOf(name, side).c_str(), measure)->UseManualTime();
}

template <typename Work>
void Time(benchmark::State& state, Work work) {
  const auto begin = Clock::now();
  work();
  state.SetIterationTime(std::chrono::duration<double>(Clock::now() - begin).count());
}

/// Fills the processor's caches with other data, as other work of a server does.
void EmptyCaches() {
  constexpr std::size_t kMoreThanAnyCache = 64 * 1024 * 1024;
  static std::vector<std::uint8_t> other(kMoreThanAnyCache);
  for (std::size_t i = 0; i < other.size(); i += 64) ++other[i];
  benchmark::ClobberMemory();
}

enum class Caches { kAsTheyAre, kEmpty };

template <typename MakeReader>
void AddDeliverOn(const std::string& name, const char* side, Caches caches, MakeReader makeReader) {
  Add(name, side, [caches, makeReader](benchmark::State& state) {
    std::uint64_t packets = 0;
    for ([[maybe_unused]] auto _ : state) {
      const auto reader = makeReader();
      if (caches == Caches::kEmpty) EmptyCaches();
      Time(state, [&] { packets += reader->Deliver(); });
    }
    state.SetItemsProcessed(static_cast<std::int64_t>(packets));
  });
}

template <typename MakeReader>
void AddOpenOn(const std::string& name, const char* side, MakeReader makeReader) {
  Add(name, side, [makeReader](benchmark::State& state) {
    for ([[maybe_unused]] auto _ : state) Time(state, [&] { makeReader(); });
    state.SetItemsProcessed(state.iterations());
  });
}

template <typename MakeReader>
void AddWarmSeekOn(const std::string& name, const char* side, const Input& input, MakeReader makeReader) {
  Add(name, side, [makeReader, &input](benchmark::State& state) {
    const auto reader = makeReader();
    reader->Deliver();
    RandomTimes times(input);
    // Measure many seeks at once, because a single one takes little longer than reading the clock.
    constexpr int kBatch = 100;
    for ([[maybe_unused]] auto _ : state) {
      Time(state, [&] {
        for (int i = 0; i < kBatch; ++i) reader->SeekAndShow(times.Next());
      });
    }
    state.SetItemsProcessed(state.iterations() * kBatch);
  });
}

template <typename MakeReader>
void AddColdSeekOn(const std::string& name, const char* side, const Input& input, MakeReader makeReader) {
  Add(name, side, [makeReader, &input](benchmark::State& state) {
    RandomTimes times(input);
    for ([[maybe_unused]] auto _ : state) {
      const auto reader = makeReader();
      const std::uint32_t time = times.Next();
      Time(state, [&] { reader->SeekAndShow(time); });
    }
    state.SetItemsProcessed(state.iterations());
  });
}

auto PluginReaders(const Plugin& plugin, const Input& input) {
  return [&] { return std::make_unique<Reader>(plugin.library, plugin.context.Get(), input.file); };
}

auto AvReaders(const Input& input) {
  return [&] { return std::make_unique<AvReader>(input.file); };
}

/// Requests packets from count sessions in rotation, from both streams alternately. Sessions at their end start again.
void MeasureSessions(benchmark::State& state, const Plugin& plugin, const Input& input, std::uint32_t packetsPerVisit,
                     std::uint32_t count) {
  std::deque<Reader> readers;
  for (std::uint32_t i = 0; i < count; ++i) readers.emplace_back(plugin.library, plugin.context.Get(), input.file);
  const auto visit = [&](Reader& reader, std::uint32_t requests) {
    std::uint64_t packets = 0;
    if (reader.IsDone()) reader.Seek(0);
    for (std::uint32_t i = 0; i < requests; ++i) packets += reader.ReadNext();
    return packets;
  };
  // Deliver some packets before measuring, because the first ones allocate the index and the queues.
  for (Reader& reader : readers) visit(reader, 50);

  constexpr std::uint32_t kRequests = 10 * kSessions;
  std::uint64_t packets = 0;
  for ([[maybe_unused]] auto _ : state) {
    Time(state, [&] {
      for (std::uint32_t asked = 0; asked < kRequests; asked += count * packetsPerVisit) {
        for (Reader& reader : readers) packets += visit(reader, packetsPerVisit);
      }
    });
  }
  state.SetItemsProcessed(static_cast<std::int64_t>(packets));
}

void AddOpenAs(const std::string& name, const Plugin& plugin, const Input& input) {
  AddOpenOn(name, kPluginSide, PluginReaders(plugin, input));
  AddOpenOn(name, kOtherSide, AvReaders(input));
}

/// Measures a loop that only walks from tag header to tag header.
void AddPlainLoop(const std::string& name, const Input& input) {
  Add(name, kPlainLoop, [&input](benchmark::State& state) {
    std::uint64_t tags = 0;
    for ([[maybe_unused]] auto _ : state) {
      EmptyCaches();
      Time(state, [&] { tags += CountMediaTags(input.file).playable; });
    }
    state.SetItemsProcessed(static_cast<std::int64_t>(tags));
  });
}

std::string RowName(const char* name, const Input& input) { return fmt::format("{}, {}", name, input.name); }

}  // namespace

void CheckDelivery(const Plugin& plugin, const Input& input) {
  Reader reader(plugin.library, plugin.context.Get(), input.file);
  reader.CountUnplayable();
  const std::uint64_t packets = reader.Deliver() - reader.Unplayable();
  const std::uint64_t theirs = AvReader(input.file).Deliver();
  const std::uint64_t tags = CountMediaTags(input.file).playable;
  if (packets == tags && theirs == tags) return;
  throw host::HostError(fmt::format("{} has {} playable tags; the plug-in delivers {}, libavformat {}", input.name,
                                    tags, packets, theirs));
}

void AddDeliver(const Plugin& plugin, const Input& input) {
  const std::string name = RowName(kDeliver, input);
  AddDeliverOn(name, kPluginSide, Caches::kAsTheyAre, PluginReaders(plugin, input));
  AddDeliverOn(name, kOtherSide, Caches::kAsTheyAre, AvReaders(input));
}

void AddTagWalk(const Plugin& plugin, const Input& input) {
  const std::string name = RowName(kTagWalk, input);
  AddDeliverOn(name, kPluginSide, Caches::kEmpty, PluginReaders(plugin, input));
  AddPlainLoop(name, input);
}

void AddGrowth(const Plugin& plugin, const Input& input, std::uint32_t tags) {
  const std::string name = fmt::format("{}, {} tags", kGrowth, tags);
  AddDeliverOn(name, kPluginSide, Caches::kEmpty, PluginReaders(plugin, input));
  AddDeliverOn(name, kOtherSide, Caches::kEmpty, AvReaders(input));
}

void AddOpen(const Plugin& plugin, const Input& input) { AddOpenAs(RowName(kOpen, input), plugin, input); }

void AddOpenWithoutMetadata(const Plugin& plugin, const Input& input) {
  AddOpenAs(RowName(kOpenWithoutMetadata, input), plugin, input);
}

void AddPass(const Input& input) {
  const std::string name = RowName(kPass, input);
  const auto source = input.file.Source();
  Add(name, kPluginSide, [source](benchmark::State& state) {
    std::int64_t tags = 0;
    for ([[maybe_unused]] auto _ : state) {
      EmptyCaches();
      Time(state, [&] { tags += flv::ScanFile(*source)->TagCount(); });
    }
    state.SetItemsProcessed(tags);
  });
  AddPlainLoop(name, input);
}

void AddRepaired(const Plugin& plugin, const Input& input) {
  const auto source = input.file.Source();
  const auto layout = flv::MakeLayout(*source, {});
  const auto open = [&plugin, source](const std::shared_ptr<const flv::ViewLayout>& from) {
    return std::make_unique<Reader>(plugin.library, plugin.context.Get(), std::make_shared<flv::View>(source, from));
  };
  const auto cached = [=] { return open(layout); };
  const auto add = [&](const char* row, auto addOn, auto repaired) {
    addOn(RowName(row, input), kPluginSide, repaired);
    addOn(RowName(row, input), kBareFile, PluginReaders(plugin, input));
  };
  const auto addOpen = [](const std::string& name, const char* side, auto make) { AddOpenOn(name, side, make); };
  const auto addDeliver = [](const std::string& name, const char* side, auto make) {
    AddDeliverOn(name, side, Caches::kAsTheyAre, make);
  };
  add(kOpenRepaired, addOpen, cached);
  add(kOpenWithPass, addOpen, [=] { return open(flv::MakeLayout(*source, {})); });
  add(kDeliverRepaired, addDeliver, cached);
}

void AddWarmSeek(const Plugin& plugin, const Input& input) {
  const std::string name = RowName(kWarmSeek, input);
  AddWarmSeekOn(name, kPluginSide, input, PluginReaders(plugin, input));
  AddWarmSeekOn(name, kOtherSide, input, AvReaders(input));
}

void AddColdSeek(const Plugin& plugin, const Input& input) {
  const std::string name = RowName(kColdSeek, input);
  AddColdSeekOn(name, kPluginSide, input, PluginReaders(plugin, input));
  AddColdSeekOn(name, kOtherSide, input, AvReaders(input));
}

void AddMany(const Plugin& plugin, const Input& input, std::uint32_t packetsPerVisit) {
  const std::string name =
      fmt::format("{}: {} sessions, {} per visit, {}", kMany, kSessions, packetsPerVisit, input.name);
  for (const std::uint32_t count : {kSessions, 1U}) {
    Add(name, count == 1 ? kOneSession : kPluginSide,
        [&plugin, &input, packetsPerVisit, count](benchmark::State& state) {
          MeasureSessions(state, plugin, input, packetsPerVisit, count);
        });
  }
}

}  // namespace qbflv::bench
