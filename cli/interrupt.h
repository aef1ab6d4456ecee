// Lets a command clean up when a signal asks the process to end.
#pragma once

#include <stdexcept>

namespace qbflv::cli {

/// Thrown by a command that a signal ended, after it has cleaned up.
class Interrupted : public std::runtime_error {
 public:
  explicit Interrupted(int signal) : std::runtime_error("interrupted"), m_signal(signal) {}
  int Signal() const { return m_signal; }

 private:
  int m_signal;
};

/// Installs handlers that only record the first signal that asks the process to end. A second signal ends the process.
void CatchInterrupts();

/// Throws Interrupted if a signal was recorded.
void ThrowIfInterrupted();

}  // namespace qbflv::cli
