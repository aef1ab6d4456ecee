// What the commands that seek have in common.
#pragma once

#include <CLI/CLI.hpp>
#include <cstdint>
#include <optional>
#include <string>

#include "host/session.h"

namespace qbflv::cli {

/// An option that takes a time in ms.
void AddTimeOption(CLI::App& parser, const std::string& name, std::optional<std::uint32_t>& time,
                   const std::string& description);

/// Throws HostError when the seek fails.
void SeekOrThrow(host::Session& session, std::uint32_t time);

}  // namespace qbflv::cli
