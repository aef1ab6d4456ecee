// Shell completion, generated from the command's options.
#pragma once

#include <CLI/CLI.hpp>
#include <string>

#include "cli/command.h"

namespace qbflv::cli {

/// Each returns the script for one shell. Type names of options determine the values: "a|b" lists them, PATH and
/// arguments in upper case without a type stand for files.
std::string BashCompletion(const CLI::App& app);
std::string ZshCompletion(const CLI::App& app);
std::string FishCompletion(const CLI::App& app);

/// `qbflv completion SHELL`: prints a script.
class CompletionCommand final : public Command {
 public:
  explicit CompletionCommand(CLI::App& app);
  int Run() override;

 private:
  const CLI::App& m_app;
  std::string m_shell;
};

}  // namespace qbflv::cli
