// qbflv_footprint: the memory and allocations of one open session. With --plays it is a workload for a tool that counts
// instructions.
#include <fmt/format.h>

#include <CLI/CLI.hpp>
#include <exception>
#include <nlohmann/json.hpp>
#include <string>

#include "bench/plugin.h"
#include "bench/reader.h"
#include "host/host_error.h"
#include "host/system.h"
#include "tests/support/library_heap.h"

namespace {

namespace bench = qbflv::bench;
namespace host = qbflv::host;
namespace test = qbflv::test;

/// Starts counting the library's allocations.
void Watch(const std::string& path) {
  std::string error;
  void* const library = host::system::OpenLibrary(path, error);
  if (library == nullptr) throw host::HostError(error);
  test::WatchLibrary(host::system::FindExport(library, qbflv::kCreateInstanceName));
}

/// Measures before the first packet and after the last, when the seek index is full and the queues are empty.
nlohmann::ordered_json MeasureMemory(const bench::Plugin& plugin, const host::MemoryFile& file) {
  const std::int64_t before = test::ReadLibraryHeap().bytes;
  bench::Reader reader(plugin.library, plugin.context.Get(), file);
  const test::LibraryHeap opened = test::ReadLibraryHeap();
  const std::uint64_t packets = reader.Deliver();
  const test::LibraryHeap played = test::ReadLibraryHeap();
  return {{"bytes_opened", opened.bytes - before},
          {"bytes_played", played.bytes - before},
          {"packets", packets},
          {"allocations_while_playing", played.allocations - opened.allocations}};
}

}  // namespace

int main(int argumentCount, char** arguments) {
  CLI::App app("Print the memory use of one open session as JSON.", "qbflv_footprint");
  std::string file;
  std::string library = QBFLV_PLUGIN_PATH;
  std::uint32_t plays = 0;
  app.add_option("FILE", file, "An FLV file with audio")->required();
  app.add_option("--plays", plays, "Open and play the file this many times and print nothing");
  app.add_option("--plugin", library, "The library")->capture_default_str();
  CLI11_PARSE(app, argumentCount, arguments);
  try {
    Watch(library);
    const bench::Plugin plugin(library);
    const host::MemoryFile bytes = host::ReadIntoMemory(file);
    if (plays == 0) fmt::print("{}\n", MeasureMemory(plugin, bytes).dump());
    for (std::uint32_t i = 0; i < plays; ++i) bench::Reader(plugin.library, plugin.context.Get(), bytes).Deliver();
    return 0;
  } catch (const std::exception& error) {
    fmt::print(stderr, "qbflv_footprint: {}\n", error.what());
    return 1;
  }
}
