// Looks an option up in a property list, where it may stand as a number, a text or a block of bytes.
#pragma once

#include <cstdint>

#include "plugin/shell/host_interfaces.h"

namespace qbflv {

struct OptionValue {
  enum class Kind { kNone, kNumber, kText, kBuffer };

  Kind kind = Kind::kNone;
  /// Of a number, and of a text that is one. A text too large for 32 bits gives the largest number.
  std::uint32_t number = 0;
};

/// A text of decimal digits only (or of none) counts as a number. Answers the status of the last getter asked, and
/// kFailed without a list or a name.
[[nodiscard]] Status FindOption(IQBPropertyList* list, const char* name, OptionValue& value);

}  // namespace qbflv
