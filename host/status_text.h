// Status values as text.
#pragma once

#include <string>
#include <string_view>

#include "plugin/shell/host_interfaces.h"

namespace qbflv::host {

/// Returns a number such as "0x80004005".
std::string StatusHex(Status status);

/// Returns the meaning of a status in a few words.
std::string_view StatusWords(Status status);

/// Returns the number, followed by the words in parentheses.
std::string StatusText(Status status);

}  // namespace qbflv::host
