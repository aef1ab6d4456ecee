// The options of every command that reads one file: the file, and the behaviour of the host.
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
  /// If empty, the command searches for the plug-in.
  std::filesystem::path plugin;
  /// Loads the plug-in through the watch layer, which reports mistakes of the host.
  bool watch = false;
  /// If empty, the URL of the file is used.
  std::string url;
  std::vector<std::string> headers;
  std::vector<std::string> preferences;
  host::FileOptions fileOptions;
  /// If true, the plug-in reads the repaired view of the file, made with these options.
  bool repair = false;
  flv::ViewOptions view;
};

void AddCommandOptions(CLI::App& parser, CommandOptions& options);

/// Adds --raw if byDefault is true, else --repair: the choice between the bare file and the repaired view.
void AddRepairOption(CLI::App& parser, CommandOptions& options, bool byDefault);

/// Accepts a number from 0 to max in decimal digits: no sign and no fraction.
CLI::Validator NumberUpTo(std::uint64_t max);

/// Throws HostError if the file is not an FLV file, or if the user named no plug-in and none is found.
host::SessionOptions MakeSessionOptions(const CommandOptions& options, host::BlockReader::Observer onBlock);

}  // namespace qbflv::cli
