// Maps wall-clock time to positions in the file, with a speed, pauses and seeks.
#pragma once

#include <chrono>
#include <cstdint>
#include <optional>

namespace qbflv::cli {

/// Positions are in ms from the file's first tag. The caller passes the time, which must not decrease.
class PlayClock {
 public:
  using Time = std::chrono::steady_clock::time_point;

  /// Starts at position 0, running. speed: file time divided by wall-clock time, positive.
  PlayClock(double speed, Time now) : m_speed(speed), m_setAt(now) {}

  double Speed() const { return m_speed; }
  std::int64_t Position(Time now) const;

  /// Moves the clock to a position without starting or stopping it.
  void SetPosition(std::int64_t position, Time now);

  bool IsRunning() const { return m_running; }
  void SetRunning(bool running, Time now);

  /// Returns the time at which the clock reaches or reached the position, or nothing if it is stopped before it.
  std::optional<Time> TimeOf(std::int64_t position) const;

 private:
  /// Floating point, so that repeated pauses accumulate no rounding error.
  using Span = std::chrono::duration<double, std::milli>;

  Span At(Time now) const;

  double m_speed;
  Span m_position{};
  /// Time at which m_position was set.
  Time m_setAt;
  bool m_running = true;
};

}  // namespace qbflv::cli
