// Times on the command line.
#pragma once

#include <CLI/CLI.hpp>

#include "host/time_text.h"

namespace qbflv::cli {

/// The type name of time options in the help.
inline constexpr char kTimeType[] = "TIME";
/// A line for the help of commands that take times.
inline constexpr char kTimeHelp[] =
    "TIME is in ms (5500), in seconds (5.5s), or in minutes and hours (1:23, 1:02:03.5).\n";

/// Replaces a time by its number of ms, which must fit into 32 bits.
CLI::Validator TimeToMilliseconds();

}  // namespace qbflv::cli
