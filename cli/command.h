// The base class of the commands.
#pragma once

#include <CLI/CLI.hpp>
#include <string>

#include "cli/command_options.h"

namespace qbflv::cli {

class Command {
 public:
  /// Adds the command to the parser. example: a command line, shown at the end of the help.
  Command(CLI::App& app, const std::string& name, const std::string& description, const std::string& example);
  Command(const Command&) = delete;
  Command& operator=(const Command&) = delete;
  virtual ~Command() = default;

  /// Returns true if the user named this command.
  bool IsChosen() const { return m_pParser->parsed(); }

  /// Throws HostError.
  virtual void Run() = 0;

  const CommandOptions& Options() const { return m_options; }

 protected:
  CommandOptions& MutableOptions() { return m_options; }
  CLI::App& Parser() { return *m_pParser; }

 private:
  CommandOptions m_options;
  /// Owned by the application's parser.
  CLI::App* m_pParser;
};

}  // namespace qbflv::cli
