// Functions shared by the commands that seek.
#pragma once

#include <CLI/CLI.hpp>
#include <cstdint>
#include <optional>
#include <string>

#include "host/session.h"

namespace qbflv::cli {

/// Adds an option that takes a time and stores it in ms.
void AddTimeOption(CLI::App& parser, const std::string& name, std::optional<std::uint32_t>& time,
                   const std::string& description);

/// Throws HostError when the seek fails.
host::SeekResult SeekOrThrow(host::Session& session, std::uint32_t time);

}  // namespace qbflv::cli
