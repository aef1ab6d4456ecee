// Reads the host's preferences.
#pragma once

#include <cstdint>

#include "plugin/shell/host_interfaces.h"

namespace qbflv {

/// The preference's text as a number (see ToInteger, which bounds it: the low 32 bits are what a u32 member takes, so
/// -1 stands for its largest value). False, with value unchanged, when it is not set: it counts as set only if the
/// context's answer for IQBPreferences and that of ReadPref are both exactly kOk.
[[nodiscard]] bool ReadIntegerPreference(IUnknown* context, const char* name, std::int64_t& value);

}  // namespace qbflv
