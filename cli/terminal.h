// The terminal as the command's whole screen, with its keys.
#pragma once

#include <chrono>
#include <cstddef>
#include <memory>
#include <span>
#include <string>
#include <vector>

#include "cli/play_keys.h"

namespace qbflv::cli {

/// From its making to its end the screen shows nothing else, and keys come as they are pressed. However the process
/// goes, other than by SIGKILL and its like, the terminal is then as it was before.
class Terminal {
 public:
  /// Null where there is none to draw on and take keys from: then standard input or output is none, or one that cannot
  /// move its cursor. At most one at a time.
  static std::unique_ptr<Terminal> Open();

  Terminal() = default;
  Terminal(const Terminal&) = delete;
  Terminal& operator=(const Terminal&) = delete;
  virtual ~Terminal() = default;

  struct Size {
    std::size_t columns;
    std::size_t rows;
  };

  /// Of the moment: windows change.
  virtual Size GetSize() const = 0;

  /// Replaces what is shown, in one write. Lines must be fewer than the columns wide. Throws HostError.
  virtual void Show(std::span<const std::string> lines) = 0;

  /// Waits for keys, until the deadline at most, or until a signal comes.
  virtual std::vector<PlayKey> WaitForKeys(std::chrono::steady_clock::time_point deadline) = 0;

  /// What kSuspend asks for: gives the terminal back and stops the process until it is continued.
  virtual void Suspend() = 0;

  /// Whether another than the one at the keys wants the process to end.
  virtual bool IsTerminated() const = 0;
};

}  // namespace qbflv::cli
