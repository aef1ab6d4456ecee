// A progress bar on standard error for long operations.
#pragma once

#include <chrono>
#include <cstdint>

namespace qbflv::cli {

/// Shows nothing when standard error is not a terminal or TERM is "dumb". The destructor clears the bar.
class Progress {
 public:
  /// wanted: false when the command's own output already shows the progress.
  explicit Progress(bool wanted);
  Progress(const Progress&) = delete;
  Progress& operator=(const Progress&) = delete;
  ~Progress() { Clear(); }

  /// done, total: bytes.
  void Update(std::uint64_t done, std::uint64_t total);

  /// Removes the bar until the next Update.
  void Clear();
  /// Removes the bar and ignores further updates.
  void Stop();

 private:
  using Clock = std::chrono::steady_clock;

  bool m_shown;
  bool m_onScreen = false;
  Clock::time_point m_nextUpdate;
};

}  // namespace qbflv::cli
