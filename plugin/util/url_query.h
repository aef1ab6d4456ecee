// Converts the query of a URL into typed options.
#pragma once

#include <string_view>

#include "plugin/shell/host_interfaces.h"

namespace qbflv {

/// Sets one option for each field between "&": the times "Start", "End", "Delay" and "Duration" in ms, decimal numbers
/// as numbers, everything else as a buffer with the text and its NUL. Returns the first failure and stops there;
/// options set before it stay.
[[nodiscard]] Status SetQueryOptions(std::string_view query, IQBObjectFactory* factory, IQBPropertyList* options);

}  // namespace qbflv
