// Reads the host's preferences.
#pragma once

#include <cstdint>

#include "plugin/shell/host_interfaces.h"

namespace qbflv {

/// Reads a preference as a number; ToInteger converts its text. Returns false and leaves value unchanged if the
/// preference is not set. It counts as set only if the context's QueryInterface and ReadPref both return exactly kOk.
[[nodiscard]] bool ReadIntegerPreference(IUnknown* context, const char* name, std::int64_t& value);

}  // namespace qbflv
