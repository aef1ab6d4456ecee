// qbflv_bench: compares the plug-in with libavformat in one process, on the same bytes in memory.
#include <benchmark/benchmark.h>
#include <fmt/format.h>

#include <CLI/CLI.hpp>
#include <deque>
#include <exception>
#include <filesystem>
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
  double seconds = 0.1;
};

void Measure(const Options& options) {
  const bench::Plugin plugin(options.plugin);
  std::deque<bench::Input> inputs;
  for (const std::string& path : options.files) {
    const std::string name = std::filesystem::path(path).stem().string();
    const bench::Input& file = inputs.emplace_back(bench::Input{name, qbflv::host::ReadIntoMemory(path)});
    CheckDelivery(plugin, file);
    AddDeliver(plugin, file);
    AddTagWalk(plugin, file);
    AddOpen(plugin, file);
    AddOpenWithoutMetadata(plugin, inputs.emplace_back(bench::Input{name, bench::WithoutRates(file.file)}));
    AddPass(file);
    AddRepaired(plugin, file);
    AddWarmSeek(plugin, file);
    AddColdSeek(plugin, file);
  }
  // One packet per visit measures the cost of a session whose memory is in no cache. A relay that visits each session a
  // few times per second sends about ten.
  for (const std::uint32_t packets : {1U, 10U}) AddMany(plugin, inputs.front(), packets);
  for (const std::uint32_t tags : {10000U, 30000U, 100000U, 300000U, 1000000U}) {
    const bench::Input& file = inputs.emplace_back(bench::Input{"", bench::MakeSmallTags(tags)});
    CheckDelivery(plugin, file);
    AddGrowth(plugin, file, tags);
  }

  bench::Table table;
  benchmark::RunSpecifiedBenchmarks(&table, options.filter);
  table.Print();
  if (!options.json.empty()) table.WriteJson(options.json);
}

}  // namespace

int main(int argumentCount, char** arguments) {
  CLI::App app("Compare the plug-in with libavformat: time per packet or operation.", "qbflv_bench");
  Options options;
  app.add_option("FILE", options.files, "FLV files with audio")->required();
  app.add_option("--json", options.json, "Also write the table to this file as JSON");
  app.add_option("--filter", options.filter, "Run the cases that match this regular expression")->capture_default_str();
  app.add_option("--seconds", options.seconds, "Time for each of the nine repetitions of a case")
      ->capture_default_str();
  app.add_option("--plugin", options.plugin, "The plug-in")->capture_default_str();
  CLI11_PARSE(app, argumentCount, arguments);

  av_log_set_level(AV_LOG_QUIET);
  // Random interleaving, so that a machine that slows down temporarily affects both readers.
  std::vector<std::string> flags = {"qbflv_bench", "--benchmark_repetitions=9",
                                    "--benchmark_enable_random_interleaving=true",
                                    "--benchmark_min_time=" + std::to_string(options.seconds)};
  std::vector<char*> flagPointers;
  flagPointers.reserve(flags.size());
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
