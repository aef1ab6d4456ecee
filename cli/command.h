// The base classes of the commands.
#pragma once

#include <CLI/CLI.hpp>
#include <string>

#include "cli/command_options.h"
#include "cli/progress.h"

namespace qbflv::cli {

inline constexpr int kSuccess = 0;
inline constexpr int kFailure = 1;
inline constexpr int kUsageError = 2;

class Command {
 public:
  /// Adds the command to the parser.
  Command(CLI::App& app, const std::string& name, const std::string& description);
  Command(const Command&) = delete;
  Command& operator=(const Command&) = delete;
  virtual ~Command() = default;

  /// Returns true if the user named this command.
  bool IsChosen() const { return m_parser->parsed(); }

  /// Returns the exit status. Throws HostError and Interrupted.
  virtual int Run() = 0;

  /// Returns what error messages begin with: the file, or the command's name if it does not read exactly one file.
  virtual std::string Subject() const { return m_parser->get_name(); }
  /// Returns the exit status after an exception.
  virtual int FailureStatus() const { return kFailure; }

 protected:
  CLI::App& Parser() { return *m_parser; }

 private:
  /// Owned by the application's parser.
  CLI::App* m_parser;
};

/// A command that reads one file through the plug-in.
class FileCommand : public Command {
 public:
  /// example: a command line, shown at the end of the help.
  FileCommand(CLI::App& app, const std::string& name, const std::string& description, const std::string& example);

  std::string Subject() const final { return m_options.file.string(); }

 protected:
  const CommandOptions& Options() const { return m_options; }
  CommandOptions& MutableOptions() { return m_options; }
  /// Returns the options of a session that reports its reading to progress, which must outlive the session.
  host::SessionOptions SessionOptions(Progress& progress) const;

 private:
  CommandOptions m_options;
};

}  // namespace qbflv::cli
