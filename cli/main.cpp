// The command `qbflv`: the reference host on the command line.
#include <algorithm>
#include <array>
#include <exception>
#include <sstream>
#include <string>
#include <utility>
#include <vector>

#include "cli/check_command.h"
#include "cli/completion_command.h"
#include "cli/info_command.h"
#include "cli/interrupt.h"
#include "cli/output.h"
#include "cli/packets_command.h"
#include "cli/play_command.h"
#include "cli/process.h"
#include "cli/remux_command.h"
#include "cli/seek_command.h"
#include "cli/usage_error.h"

namespace {

/// Prints the help or the version.
int PrintHelp(const CLI::App& app, const CLI::Success& request) {
  try {
    std::ostringstream text;
    app.exit(request, text);
    qbflv::cli::Output output;
    output.Print("{}", text.str());
    output.Flush();
    return qbflv::cli::kSuccess;
  } catch (const std::exception& error) {
    qbflv::cli::PrintError(error.what());
    return qbflv::cli::kFailure;
  }
}

int Run(qbflv::cli::Command& command) {
  try {
    return command.Run();
  } catch (const qbflv::cli::Interrupted& interrupt) {
    qbflv::cli::PrintError(command.Subject() + ": " + interrupt.what());
    return qbflv::cli::EndBySignal(interrupt.Signal());
  } catch (const std::exception& error) {
    qbflv::cli::PrintError(command.Subject() + ": " + error.what());
    return command.FailureStatus();
  }
}

}  // namespace

int main(int argumentCount, char** arguments) {
  qbflv::cli::PrepareProcess();

  CLI::App app("Play FLV files through the file-format plug-in, as a streaming server does.", "qbflv");
  app.set_version_flag("--version", QBFLV_VERSION);
  app.require_subcommand(0, 1);
  app.allow_windows_style_options(false);  // a path may also begin with a slash
  app.get_formatter()->column_width(34);
  app.footer(
      "Exit status: 0 success, 1 failure, 2 wrong usage, 3 a check was incomplete, 128 + N ended by signal N.\n\n"
      "Example:\n  qbflv info film.flv");
  qbflv::cli::InfoCommand info(app);
  qbflv::cli::PacketsCommand packets(app);
  qbflv::cli::SeekCommand seek(app);
  qbflv::cli::PlayCommand play(app);
  qbflv::cli::RemuxCommand remux(app);
  qbflv::cli::CheckCommand check(app);
  qbflv::cli::CompletionCommand completion(app);
  try {
    std::vector<std::string> words = qbflv::cli::Arguments(argumentCount, arguments);
    std::ranges::reverse(words);  // the parser expects them in reverse order
    app.parse(std::move(words));
  } catch (const CLI::Success& request) {
    return PrintHelp(app, request);
  } catch (const CLI::ParseError& error) {
    qbflv::cli::PrintError(qbflv::cli::UsageErrorText(app, error));
    return qbflv::cli::kUsageError;
  }
  for (qbflv::cli::Command* const command :
       std::to_array<qbflv::cli::Command*>({&info, &packets, &seek, &play, &remux, &check, &completion})) {
    if (command->IsChosen()) return Run(*command);
  }
  qbflv::cli::PrintError(qbflv::cli::MissingCommandText(app));
  return qbflv::cli::kUsageError;
}
