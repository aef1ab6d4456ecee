// qbflv_soak: the plug-in under a server's load, on files in memory.
#include <fmt/format.h>

#include <CLI/CLI.hpp>
#include <exception>
#include <filesystem>
#include <string>
#include <vector>

#include "soak/crowd.h"
#include "soak/turnover.h"

int main(int argumentCount, char** arguments) {
  namespace soak = qbflv::soak;
  CLI::App app("Put the plug-in under a server's load, on files in memory. Exit status: 0 well, 1 not.", "qbflv_soak");
  app.require_subcommand(1);
  std::string plugin = QBFLV_PLUGIN_PATH;
  std::vector<std::string> files;
  soak::CrowdOptions crowd;
  std::uint64_t count = 1000000;

  CLI::App* const many = app.add_subcommand("crowd", "Play many objects at once, from several threads");
  many->add_option("--objects", crowd.objects, "Objects alive at once")->capture_default_str();
  many->add_option("--threads", crowd.threads, "Threads that take turns with them")->capture_default_str();
  many->add_option("--seed", crowd.seed, "Of the order of requests; threads make it differ all the same")
      ->capture_default_str();
  CLI::App* const turnover = app.add_subcommand("turnover", "Open and close objects, one after the other");
  turnover->add_option("--count", count, "Objects")->capture_default_str();
  for (CLI::App* const command : {many, turnover}) {
    command->add_option("FILE", files, "FLV files")->required();
    command->add_option("--plugin", plugin, "The library")->capture_default_str();
  }
  CLI11_PARSE(app, argumentCount, arguments);

  try {
    const soak::Server server(plugin, files);
    const bool isWell = many->parsed() ? soak::PlayCrowd(server, crowd) : soak::OpenAndClose(server, count);
    return isWell ? 0 : 1;
  } catch (const std::exception& error) {
    fmt::print(stderr, "qbflv_soak: {}\n", error.what());
    return 1;
  }
}
