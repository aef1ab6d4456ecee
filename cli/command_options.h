// The options of every command: the file and the behaviour of the host.
#pragma once

#include <CLI/CLI.hpp>
#include <cstdint>
#include <filesystem>
#include <string>
#include <vector>

#include "flv/view_layout.h"
#include "host/session.h"

namespace qbflv::cli {

struct CommandOptions {
  std::filesystem::path file;
  /// Empty: the command searches for it.
  std::filesystem::path plugin;
  /// Load the plug-in through the layer that reports the host's mistakes.
  bool watch = false;
  /// Empty: the URL of the file.
  std::string url;
  std::vector<std::string> headers;
  std::vector<std::string> preferences;
  host::FileOptions fileOptions;
  /// Whether the plug-in reads the repaired view of the file, and how that is made.
  bool repair = false;
  flv::ViewOptions view;
};

void AddCommandOptions(CLI::App& parser, CommandOptions& options);

/// Lets the user choose between the repaired view and the bare file. byDefault: whether the view is the default.
void AddRepairOption(CLI::App& parser, CommandOptions& options, bool byDefault);

/// Accepts a number from 0 to max in decimal digits: no sign and no fraction.
CLI::Validator NumberUpTo(std::uint64_t max);

/// Throws HostError if the file is not an FLV file, or if the user named no plug-in and none is found.
host::SessionOptions MakeSessionOptions(const CommandOptions& options, host::BlockReader::Observer onBlock);

}  // namespace qbflv::cli
