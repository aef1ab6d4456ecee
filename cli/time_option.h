// Times on the command line.
#pragma once

#include <CLI/CLI.hpp>
#include <cstdint>
#include <optional>
#include <string>

namespace qbflv::cli {

/// A line for the help of commands that take times.
inline constexpr char kTimeHelp[] =
    "TIME is in ms (5500), in seconds (5.5s), or in minutes and hours (1:23, 1:02:03.5).\n";

/// Adds an option that takes a time and stores it in ms.
void AddTimeOption(CLI::App& parser, const std::string& name, std::optional<std::uint32_t>& time,
                   const std::string& description);

/// Replaces a time by its number of ms, which must fit into 32 bits.
CLI::Validator TimeToMilliseconds();

}  // namespace qbflv::cli
