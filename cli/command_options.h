// The options that every command has: the file, and what its host is like.
#pragma once

#include <CLI/CLI.hpp>
#include <filesystem>
#include <string>
#include <vector>

#include "host/session.h"

namespace qbflv::cli {

struct CommandOptions {
  std::filesystem::path file;
  /// Empty: found by itself.
  std::filesystem::path plugin;
  /// Empty: the file's own.
  std::string url;
  std::vector<std::string> headers;
  std::vector<std::string> preferences;
  host::FileOptions fileOptions;
};

void AddCommandOptions(CLI::App& parser, CommandOptions& options);

/// Decimal digits alone: neither a sign nor a fraction is taken for something else.
CLI::Validator IsNumber();

/// Throws HostError when no plug-in was named and none is found.
host::SessionOptions MakeSessionOptions(const CommandOptions& options, host::BlockReader::Observer onBlock);

}  // namespace qbflv::cli
