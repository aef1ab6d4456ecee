// A full-screen display on the terminal, with keys.
#pragma once

#include <chrono>
#include <cstddef>
#include <memory>
#include <span>
#include <string>
#include <vector>

#include "cli/play_keys.h"

namespace qbflv::cli {

/// Owns the whole screen during its lifetime and reports keys as they are pressed. Restores the terminal however the
/// process ends, except by SIGKILL.
class Terminal {
 public:
  /// Returns null if standard input or output is not a terminal, or if the terminal cannot move its cursor. Only one
  /// Terminal may exist.
  static std::unique_ptr<Terminal> Open();

  Terminal() = default;
  Terminal(const Terminal&) = delete;
  Terminal& operator=(const Terminal&) = delete;
  virtual ~Terminal() = default;

  struct Size {
    std::size_t columns;
    std::size_t rows;
  };

  /// Returns the current size, which may change.
  virtual Size GetSize() const = 0;

  /// Replaces the content of the screen. Lines must be narrower than the screen. Throws HostError.
  virtual void Show(std::span<const std::string> lines) = 0;

  /// Waits for keys, a signal or the deadline.
  virtual std::vector<PlayKey> WaitForKeys(std::chrono::steady_clock::time_point deadline) = 0;

  /// Handles kSuspend: restores the terminal and stops the process until it is continued.
  virtual void Suspend() = 0;

  /// Returns the signal that asked the process to end, also one that a key produced; 0 for none.
  virtual int EndingSignal() const = 0;
};

}  // namespace qbflv::cli
