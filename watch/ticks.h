// A clock that is cheap enough for every call.
#pragma once

#include <chrono>
#include <cstdint>

#if defined(__x86_64__)
#include <x86intrin.h>
#endif

namespace qbflv::watch {

/// The processor's time stamps where there are such, else the system's clock. Only differences mean something.
inline std::uint64_t Ticks() {
#if defined(__x86_64__)
  return __rdtsc();
#else
  return static_cast<std::uint64_t>(std::chrono::steady_clock::now().time_since_epoch().count());
#endif
}

/// Converts ticks to seconds by what the system's clock says since the construction.
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

/// Divides time among those who spend it. Measures everything at first, then one part in eight, since the measuring
/// itself takes longer than most calls.
class Stopwatch {
 public:
  /// Adds the time since the last call to spender, roughly.
  void AddTo(std::uint64_t& spender) {
    if (m_skip > 0) {
      --m_skip;
      return;
    }
    const std::uint64_t now = Ticks();
    if (m_isRunning) spender += (now - m_last) * m_weight;
    m_last = now;
    m_isRunning = true;
    if (--m_left > 0) return;
    m_left = kMeasured;
    m_skip = kSkipped;
    m_weight = (kMeasured + kSkipped) / (kMeasured - 1);
    m_isRunning = false;
  }

  /// The time until the next call is nobody's.
  void Interrupt() { m_isRunning = false; }

 private:
  static constexpr std::uint32_t kAtFirst = 4096;
  // Of eight points in time, seven intervals count for 56.
  static constexpr std::uint32_t kMeasured = 8;
  static constexpr std::uint32_t kSkipped = 48;

  std::uint64_t m_last = 0;
  std::uint32_t m_left = kAtFirst;
  std::uint32_t m_skip = 0;
  std::uint32_t m_weight = 1;
  bool m_isRunning = false;
};

}  // namespace qbflv::watch
