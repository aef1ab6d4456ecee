// The command `qbflv`: the reference host for people and scripts.
#include <fmt/format.h>

#include <algorithm>
#include <array>
#include <cstdio>
#include <exception>
#include <string>
#include <utility>
#include <vector>

#include "cli/info_command.h"
#include "cli/output.h"
#include "cli/packets_command.h"
#include "cli/play_command.h"
#include "cli/process.h"
#include "cli/remux_command.h"
#include "cli/seek_command.h"

namespace {

constexpr int kDone = 0;
constexpr int kJobFailed = 1;
constexpr int kBadUsage = 2;

int Run(qbflv::cli::Command& command) {
  try {
    command.Run();
    return kDone;
  } catch (const std::exception& error) {
    fmt::print(stderr, "qbflv: {}: {}\n", qbflv::cli::Printable(command.Options().file.string()), error.what());
    return kJobFailed;
  }
}

}  // namespace

int main(int argumentCount, char** arguments) {
  qbflv::cli::PrepareProcess();

  CLI::App app("Play FLV files through the file-format plug-in, as a streaming server would.", "qbflv");
  app.set_version_flag("--version", QBFLV_VERSION);
  app.require_subcommand(0, 1);
  app.allow_windows_style_options(false);  // a path may begin with a slash there too
  app.get_formatter()->column_width(34);
  app.footer("Exit status: 0 done, 1 the job failed, 2 bad usage.\n\nExample:\n  qbflv info film.flv");
  qbflv::cli::InfoCommand info(app);
  qbflv::cli::PacketsCommand packets(app);
  qbflv::cli::SeekCommand seek(app);
  qbflv::cli::PlayCommand play(app);
  qbflv::cli::RemuxCommand remux(app);
  try {
    std::vector<std::string> words = qbflv::cli::Arguments(argumentCount, arguments);
    std::ranges::reverse(words);  // the parser takes them from the end
    app.parse(std::move(words));
  } catch (const CLI::ParseError& error) {
    return app.exit(error) == kDone ? kDone : kBadUsage;
  }
  for (qbflv::cli::Command* const command :
       std::to_array<qbflv::cli::Command*>({&info, &packets, &play, &seek, &remux})) {
    if (command->IsChosen()) return Run(*command);
  }
  fmt::print(stderr, "{}", app.help());
  return kBadUsage;
}
