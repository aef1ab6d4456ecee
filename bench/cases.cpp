#include "bench/cases.h"

#include <benchmark/benchmark.h>
#include <fmt/format.h>

#include <chrono>
#include <deque>
#include <random>

#include "bench/av_reader.h"
#include "bench/media_tags.h"
#include "bench/reader.h"
#include "bench/table.h"
#include "host/context.h"
#include "host/host_error.h"

namespace qbflv::bench {

namespace {

using Clock = std::chrono::steady_clock;

/// The same sequence on both sides. In the first second libavformat may refuse: there is nothing before its time.
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

template <typename MakeReader>
void AddDeliverOn(const std::string& name, const char* side, MakeReader makeReader) {
  Add(name, side, [makeReader](benchmark::State& state) {
    std::uint64_t packets = 0;
    for ([[maybe_unused]] auto _ : state) {
      const auto reader = makeReader();
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
    // Many at a time: one is not much longer than reading the clock.
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

/// So many sessions, asked in turn for a packet of one stream and then of the other; those that are over start again.
void MeasureSessions(benchmark::State& state, const Plugin& plugin, const Input& input, std::size_t count) {
  std::deque<Reader> readers;
  for (std::size_t i = 0; i < count; ++i) readers.emplace_back(plugin.library, plugin.context.Get(), input.file);
  const std::size_t rounds = 20000 / count;
  std::uint64_t packets = 0;
  for ([[maybe_unused]] auto _ : state) {
    for (Reader& reader : readers) {
      if (reader.IsDone()) reader.Seek(0);
    }
    Time(state, [&] {
      for (std::size_t round = 0; round < rounds; ++round) {
        for (Reader& reader : readers) packets += reader.Step();
      }
    });
  }
  state.SetItemsProcessed(static_cast<std::int64_t>(packets));
}

}  // namespace

Plugin::Plugin(const std::filesystem::path& path) : library(path), context(host::MakeContext().Query<IUnknown>()) {}

void CheckDelivery(const Plugin& plugin, const Input& input) {
  Reader reader(plugin.library, plugin.context.Get(), input.file);
  reader.Classify();
  const std::uint64_t packets = reader.Deliver() - reader.Unplayable();
  const std::uint64_t theirs = AvReader(input.file).Deliver();
  const std::uint64_t tags = CountMediaTags(input.file).playable;
  if (packets == tags && theirs == tags) return;
  throw host::HostError(fmt::format("{} has {} tags to play; the plug-in delivers {} of them, libavformat {}",
                                    input.name, tags, packets, theirs));
}

void AddDeliver(const Plugin& plugin, const Input& input, const std::string& name) {
  AddDeliverOn(name, kPluginSide, PluginReaders(plugin, input));
  AddDeliverOn(name, kOtherSide, AvReaders(input));
}

void AddOpen(const Plugin& plugin, const Input& input, const std::string& name) {
  AddOpenOn(name, kPluginSide, PluginReaders(plugin, input));
  AddOpenOn(name, kOtherSide, AvReaders(input));
}

void AddWarmSeek(const Plugin& plugin, const Input& input, const std::string& name) {
  AddWarmSeekOn(name, kPluginSide, input, PluginReaders(plugin, input));
  AddWarmSeekOn(name, kOtherSide, input, AvReaders(input));
}

void AddColdSeek(const Plugin& plugin, const Input& input, const std::string& name) {
  AddColdSeekOn(name, kPluginSide, input, PluginReaders(plugin, input));
  AddColdSeekOn(name, kOtherSide, input, AvReaders(input));
}

void AddMany(const Plugin& plugin, const Input& input, const std::string& name, std::size_t sessions) {
  Add(name, kPluginSide,
      [&plugin, &input, sessions](benchmark::State& state) { MeasureSessions(state, plugin, input, sessions); });
  Add(name, kOneSession, [&plugin, &input](benchmark::State& state) { MeasureSessions(state, plugin, input, 1); });
}

}  // namespace qbflv::bench
