// Maps wall-clock time to positions in the file, with a speed, pauses and seeks.
#include "cli/play_clock.h"

#include <cmath>

namespace qbflv::cli {

std::int64_t PlayClock::Position(Time now) const { return static_cast<std::int64_t>(std::floor(At(now).count())); }

void PlayClock::SetPosition(std::int64_t position, Time now) {
  m_position = Span(static_cast<double>(position));
  m_setAt = now;
}

void PlayClock::SetRunning(bool running, Time now) {
  m_position = At(now);
  m_setAt = now;
  m_running = running;
}

std::optional<PlayClock::Time> PlayClock::TimeOf(std::int64_t position) const {
  const Span ahead = Span(static_cast<double>(position)) - m_position;
  if (!m_running && ahead > Span::zero()) return std::nullopt;
  if (!m_running) return m_setAt;
  return m_setAt + std::chrono::ceil<Time::duration>(ahead / m_speed);
}

PlayClock::Span PlayClock::At(Time now) const {
  return m_running ? m_position + Span(now - m_setAt) * m_speed : m_position;
}

}  // namespace qbflv::cli
