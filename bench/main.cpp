// qbflv_bench: the plug-in beside libavformat, in one process, on the same bytes in memory.
#include <benchmark/benchmark.h>
#include <fmt/format.h>

#include <CLI/CLI.hpp>
#include <deque>
#include <exception>
#include <string>
#include <vector>

extern "C" {
#include <libavutil/log.h>
}

#include "bench/cases.h"
#include "bench/media_tags.h"
#include "bench/table.h"

namespace {

using namespace std::string_literals;
namespace bench = qbflv::bench;

struct Options {
  std::string plugin = QBFLV_PLUGIN_PATH;
  std::vector<std::string> files;
  std::string json;
  std::string filter = ".";
  double seconds = 0.2;
};

void AddFile(const bench::Plugin& plugin, const bench::Input& input) {
  CheckDelivery(plugin, input);
  AddDeliver(plugin, input, "deliver, " + input.name);
  AddOpen(plugin, input, "open, " + input.name);
  AddWarmSeek(plugin, input, "seek, warm, " + input.name);
  AddColdSeek(plugin, input, "seek, cold, " + input.name);
  AddMany(plugin, input, "many: 10000 sessions, " + input.name, 10000);
}

void Measure(const Options& options) {
  const bench::Plugin plugin(options.plugin);
  std::deque<bench::Input> inputs;
  for (const std::string& path : options.files) {
    inputs.push_back({std::filesystem::path(path).stem().string(), qbflv::host::ReadIntoMemory(path)});
    AddFile(plugin, inputs.back());
    const bench::Input& whole = inputs.back();
    inputs.push_back({whole.name + " without rates", bench::WithoutRates(whole.file)});
    AddOpen(plugin, inputs.back(), "open, no metadata, " + whole.name);
  }
  for (const std::uint32_t count : {10000U, 100000U, 1000000U}) {
    inputs.push_back({fmt::format("{} tags", count), bench::MakeSmallTags(count)});
    CheckDelivery(plugin, inputs.back());
    AddDeliver(plugin, inputs.back(), fmt::format("growth: {} tags", count));
  }

  bench::Table table;
  benchmark::RunSpecifiedBenchmarks(&table, options.filter);
  table.Print();
  if (!options.json.empty()) table.WriteJson(options.json);
}

}  // namespace

int main(int argumentCount, char** arguments) {
  CLI::App app("Measure the plug-in beside libavformat: medians, for a packet or an operation.", "qbflv_bench");
  Options options;
  app.add_option("FILE", options.files, "FLV files with sound")->required();
  app.add_option("--json", options.json, "Where to write the table as JSON");
  app.add_option("--filter", options.filter, "A regular expression: the cases to run")->capture_default_str();
  app.add_option("--seconds", options.seconds, "For each of five repetitions of a case")->capture_default_str();
  app.add_option("--plugin", options.plugin, "The library")->capture_default_str();
  CLI11_PARSE(app, argumentCount, arguments);

  av_log_set_level(AV_LOG_QUIET);
  // Sides and repetitions take turns, so that a machine that slows down meanwhile slows both.
  std::vector<std::string> flags = {"qbflv_bench", "--benchmark_repetitions=5",
                                    "--benchmark_enable_random_interleaving=true",
                                    "--benchmark_min_time=" + std::to_string(options.seconds)};
  std::vector<char*> flagPointers;
  for (std::string& flag : flags) flagPointers.push_back(flag.data());
  int flagCount = static_cast<int>(flagPointers.size());
  benchmark::Initialize(&flagCount, flagPointers.data());
  try {
    Measure(options);
    return 0;
  } catch (const std::exception& error) {
    fmt::print(stderr, "qbflv_bench: {}\n", error.what());
    return 1;
  }
}
