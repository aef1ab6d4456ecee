// Statuses as text.
#pragma once

#include <string>
#include <string_view>

#include "plugin/shell/host_interfaces.h"

namespace qbflv::host {

/// For example 0x80004005.
std::string StatusHex(Status status);

/// The meaning of a status in a few words.
std::string_view StatusWords(Status status);

/// Both: the number, then the words in parentheses.
std::string StatusText(Status status);

}  // namespace qbflv::host
