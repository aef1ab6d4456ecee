// `qbflv completion`: prints a script that completes arguments in a shell.
#pragma once

#include <string>

#include "cli/command.h"

namespace qbflv::cli {

class CompletionCommand final : public Command {
 public:
  explicit CompletionCommand(CLI::App& app);
  int Run() override;

 private:
  const CLI::App& m_app;
  std::string m_shell;
};

}  // namespace qbflv::cli
