// Turns the query of a URL into typed options.
#pragma once

#include <string_view>

#include "plugin/shell/host_interfaces.h"

namespace qbflv {

/// Sets one option for each field between "&": the times of "Start", "End", "Delay" and "Duration" in ms, decimal
/// numbers as numbers, everything else as a buffer with the text and its NUL. The first failure ends it and is the
/// answer; what was set before stays.
[[nodiscard]] Status SetQueryOptions(std::string_view query, IQBObjectFactory* factory, IQBPropertyList* options);

}  // namespace qbflv
