// `qbflv completion`: prints a script that completes arguments in a shell.
#include "cli/completion_command.h"

#include <fmt/format.h>

#include <vector>

#include "cli/completion.h"
#include "cli/output.h"

namespace qbflv::cli {

CompletionCommand::CompletionCommand(CLI::App& app)
    : Command(app, "completion", "Print a script that completes qbflv's arguments in a shell."), m_app(app) {
  const std::vector<std::string> shells = {"bash", "zsh", "fish"};
  Parser()
      .add_option("SHELL", m_shell, "The shell")
      ->required()
      ->type_name(fmt::format("{}", fmt::join(shells, "|")))
      ->check(CLI::IsMember(shells).description(""));
  Parser().footer("Example:\n  qbflv completion bash > ~/.local/share/bash-completion/completions/qbflv");
}

int CompletionCommand::Run() {
  const auto make = m_shell == "bash" ? BashCompletion : m_shell == "zsh" ? ZshCompletion : FishCompletion;
  Output output;
  output.Print("{}", make(m_app));
  output.Flush();
  return kSuccess;
}

}  // namespace qbflv::cli
