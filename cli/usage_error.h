// Messages about command lines that cannot be parsed.
#pragma once

#include <CLI/CLI.hpp>
#include <string>

namespace qbflv::cli {

/// Returns one line that names the command and the argument, suggests a similar name for a mistyped one, and refers to
/// the help. error: thrown by the last parse of app.
std::string UsageErrorText(const CLI::App& app, const CLI::ParseError& error);

/// Returns such a line for a command line without a command.
std::string MissingCommandText(const CLI::App& app);

}  // namespace qbflv::cli
