// The host's exception: one line of text that says what failed.
#include "host/host_error.h"

#include <system_error>

namespace qbflv::host {

HostError HostError::System(const std::string& what, int errorNumber) {
  return HostError(what + ": " + std::generic_category().message(errorNumber));
}

}  // namespace qbflv::host
