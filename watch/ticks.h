// A clock that is cheap enough for every call.
#pragma once

#include <chrono>
#include <cstdint>

#if defined(__x86_64__)
#include <x86intrin.h>
#endif

namespace qbflv::watch {

/// Returns the processor's time-stamp counter if it has one, else the time of the system's clock. The origin and the
/// unit are arbitrary.
inline std::uint64_t Ticks() {
#if defined(__x86_64__)
  return __rdtsc();
#else
  return static_cast<std::uint64_t>(std::chrono::steady_clock::now().time_since_epoch().count());
#endif
}

/// Converts ticks to seconds. Compares the ticks with the system's clock since construction.
class TickScale {
 public:
  double Seconds(std::uint64_t ticks) const {
    const std::uint64_t passed = Ticks() - m_ticks;
    const std::chrono::duration<double> seconds = std::chrono::steady_clock::now() - m_time;
    return passed == 0 ? 0.0 : static_cast<double>(ticks) * seconds.count() / static_cast<double>(passed);
  }

 private:
  std::uint64_t m_ticks = Ticks();
  std::chrono::steady_clock::time_point m_time = std::chrono::steady_clock::now();
};

/// Estimates the time that is spent on each side of a boundary. Measures all intervals at first, then samples one
/// interval in eight, because a measurement takes longer than most calls.
class Stopwatch {
 public:
  /// Adds the estimated time since the previous call to `total`.
  void AddTo(std::uint64_t& total) {
    if (m_skip > 0) {
      --m_skip;
      return;
    }
    const std::uint64_t now = Ticks();
    if (m_isRunning) total += (now - m_last) * m_weight;
    m_last = now;
    m_isRunning = true;
    if (--m_left > 0) return;
    m_left = kSamples;
    m_skip = kSkipped;
    m_weight = (kSamples + kSkipped) / (kSamples - 1);
    m_isRunning = false;
  }

  /// Excludes the time until the next call of AddTo.
  void Interrupt() { m_isRunning = false; }

 private:
  static constexpr std::uint32_t kInitialSamples = 4096;
  // Eight points in time make seven intervals, which count for 56.
  static constexpr std::uint32_t kSamples = 8;
  static constexpr std::uint32_t kSkipped = 48;

  std::uint64_t m_last = 0;
  std::uint32_t m_left = kInitialSamples;
  std::uint32_t m_skip = 0;
  std::uint32_t m_weight = 1;
  bool m_isRunning = false;
};

}  // namespace qbflv::watch
