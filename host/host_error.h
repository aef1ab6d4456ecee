// The host's exception: one line of text that says what failed.
#pragma once

#include <stdexcept>
#include <string>

#include "host/status_text.h"

namespace qbflv::host {

class HostError : public std::runtime_error {
 public:
  explicit HostError(const std::string& what) : std::runtime_error(what) {}
  HostError(const std::string& what, Status status) : std::runtime_error(what + ": " + StatusText(status)) {}

  /// Describes a failed system call with the text of its error number.
  static HostError System(const std::string& what, int errorNumber);
};

}  // namespace qbflv::host
