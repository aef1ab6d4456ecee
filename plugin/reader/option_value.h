// Looks up an option that a property list may hold as a number, a text or a block of bytes.
#pragma once

#include <cstdint>

#include "plugin/shell/host_interfaces.h"

namespace qbflv {

struct OptionValue {
  /// The value is a number, or a text of decimal digits only (or of none).
  bool isNumber = false;
  /// A text too large for 32 bits gives the largest number.
  std::uint32_t number = 0;
};

/// Returns the status of the last getter called, and kFailed without a list or a name.
[[nodiscard]] Status FindOption(IQBPropertyList* list, const char* name, OptionValue& value);

}  // namespace qbflv
