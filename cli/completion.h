// Shell completion, generated from the command's options.
#pragma once

#include <CLI/CLI.hpp>
#include <string>

namespace qbflv::cli {

/// Each returns the script for one shell. Type names of options determine the values: "a|b" lists them, PATH and
/// arguments in upper case without a type stand for files.
std::string BashCompletion(const CLI::App& app);
std::string ZshCompletion(const CLI::App& app);
std::string FishCompletion(const CLI::App& app);

/// `qbflv completion SHELL`: prints a script. Not derived from Command, because it reads no file.
class CompletionCommand {
 public:
  explicit CompletionCommand(CLI::App& app);
  bool IsChosen() const { return m_parser->parsed(); }
  /// Throws HostError.
  void Run() const;

 private:
  const CLI::App& m_app;
  /// Owned by the application's parser.
  CLI::App* m_parser;
  std::string m_shell;
};

}  // namespace qbflv::cli
