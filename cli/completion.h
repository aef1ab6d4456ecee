// Shell completion, generated from the command's options.
#pragma once

#include <CLI/CLI.hpp>
#include <string>

namespace qbflv::cli {

/// Each function returns the script for one shell. An option's type name determines the completed values: "a|b" lists
/// the values, PATH means a file. A positional argument without a type name is a file.
std::string BashCompletion(const CLI::App& app);
std::string ZshCompletion(const CLI::App& app);
std::string FishCompletion(const CLI::App& app);

}  // namespace qbflv::cli
