// Shell completion, generated from the command's options.
#pragma once

#include <CLI/CLI.hpp>
#include <string>

#include "cli/command.h"

namespace qbflv::cli {

/// Each function returns the script for one shell. An option's type name determines the completed values: "a|b" lists
/// the values, PATH means a file. A positional argument without a type name is a file.
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
