// Maps the wall clock to positions in the file: with a speed, pauses and jumps.
#pragma once

#include <chrono>
#include <cstdint>
#include <optional>

namespace qbflv::cli {

/// Positions are in ms from the file's first tag. Times are passed in and never go back.
class PlayClock {
 public:
  using Time = std::chrono::steady_clock::time_point;

  /// Runs from position 0. speed: ms of the file in one of the wall clock, positive.
  PlayClock(double speed, Time now) : m_speed(speed), m_setAt(now) {}

  double Speed() const { return m_speed; }
  std::int64_t Position(Time now) const;

  /// Goes on running, or stays stopped, there.
  void JumpTo(std::int64_t position, Time now);

  bool IsRunning() const { return m_running; }
  void SetRunning(bool running, Time now);

  /// When that position is or was reached; nothing if the clock stands still before it.
  std::optional<Time> WhenAt(std::int64_t position) const;

 private:
  /// With fractions, so that many pauses lose no time.
  using Span = std::chrono::duration<double, std::milli>;

  Span At(Time now) const;

  double m_speed;
  Span m_position{};
  /// When m_position was right.
  Time m_setAt;
  bool m_running = true;
};

}  // namespace qbflv::cli
