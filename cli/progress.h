// A progress bar on standard error for work that takes its time.
#pragma once

#include <chrono>
#include <cstdint>

namespace qbflv::cli {

/// Shows nothing when standard error is no terminal. The bar is wiped away when it goes.
class Progress {
 public:
  /// wanted: false when the command's own output already shows how it goes.
  explicit Progress(bool wanted);
  Progress(const Progress&) = delete;
  Progress& operator=(const Progress&) = delete;
  ~Progress() { Wipe(); }

  /// Bytes done and in all.
  void Update(std::uint64_t done, std::uint64_t total);

  void Wipe();

 private:
  using Clock = std::chrono::steady_clock;

  bool m_shown;
  bool m_onScreen = false;
  Clock::time_point m_nextUpdate;
};

}  // namespace qbflv::cli
