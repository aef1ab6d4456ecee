// Status values as text.
#include "host/status_text.h"

#include <fmt/format.h>

#include <cstdint>

namespace qbflv::host {

std::string StatusHex(Status status) { return fmt::format("0x{:08x}", static_cast<std::uint32_t>(status)); }

std::string_view StatusWords(Status status) {
  switch (status) {
    case kOk:
      return "success";
    case kNotImplemented:
      return "not implemented";
    case kNoInterface:
      return "no such interface";
    case kFailed:
      return "general failure or malformed data";
    case kOutOfMemory:
      return "out of memory";
    case kInvalidArgument:
      return "invalid argument";
    case kInvalidState:
      return "not valid in this state, or a prerequisite is missing";
    case kPrefersLinearAccess:
      return "success, sequential access is preferred";
    default:
      return Succeeded(status) ? "unknown success" : "unknown failure";
  }
}

std::string StatusText(Status status) { return fmt::format("{} ({})", StatusHex(status), StatusWords(status)); }

}  // namespace qbflv::host
