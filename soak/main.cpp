// qbflv_soak: runs the plug-in under the load of a server, with files in memory.
#include <fmt/format.h>

#include <CLI/CLI.hpp>
#include <cstdint>
#include <exception>
#include <filesystem>
#include <limits>
#include <string>
#include <vector>

#include "soak/crowd.h"
#include "soak/turnover.h"

int main(int argumentCount, char** arguments) {
  namespace soak = qbflv::soak;
  CLI::App app("Run the plug-in under the load of a server, with files in memory. Exit status: 0 success, 1 failure.",
               "qbflv_soak");
  app.require_subcommand(1);
  std::string plugin = QBFLV_PLUGIN_PATH;
  std::vector<std::string> files;
  soak::CrowdOptions crowd;
  std::uint64_t count = 1000000;
  const CLI::Range atLeastOne(std::uint64_t{1}, std::numeric_limits<std::uint64_t>::max());

  CLI::App* const many = app.add_subcommand("crowd", "Play many objects at once, from several threads");
  many->add_option("--objects", crowd.objects, "Number of simultaneous objects")
      ->capture_default_str()
      ->check(atLeastOne);
  many->add_option("--threads", crowd.threads, "Number of threads")->capture_default_str()->check(atLeastOne);
  many->add_option("--seed", crowd.seed, "Seed of the order of requests, which also depends on the threads")
      ->capture_default_str();
  CLI::App* const turnover = app.add_subcommand("turnover", "Open and close objects one after another");
  turnover->add_option("--count", count, "Number of objects")->capture_default_str()->check(atLeastOne);
  for (CLI::App* const command : {many, turnover}) {
    command->add_option("FILE", files, "The FLV files to play")->required();
    command->add_option("--plugin", plugin, "The plug-in")->capture_default_str();
  }
  CLI11_PARSE(app, argumentCount, arguments);

  try {
    const soak::Server server(plugin, files);
    const bool succeeded = many->parsed() ? soak::PlayCrowd(server, crowd) : soak::OpenAndClose(server, count);
    return succeeded ? 0 : 1;
  } catch (const std::exception& error) {
    fmt::print(stderr, "qbflv_soak: {}\n", error.what());
    return 1;
  }
}
