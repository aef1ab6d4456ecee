// Detects jumps in the timestamps of a file, and computes the shifts that remove them.
#include "flv/timeline.h"

#include "flv/format.h"

namespace qbflv::flv {

Timeline::Place Timeline::Take(int stream, std::uint32_t time, bool isFrame) {
  Stream& own = m_streams[static_cast<std::size_t>(stream)];
  const std::int32_t jump = JumpTo(own, time + m_shift);
  if (!isFrame) return {jump == 0 ? m_shift : *m_latest - time, 0};
  if (jump != 0) m_shift = *m_latest + own.distance - time;
  const std::uint32_t continued = time + m_shift;
  const std::int32_t step = own.last ? TimeBetween(*own.last, continued) : 0;
  if (jump == 0 && step > 0 && step <= kMaxStepBack) own.distance = static_cast<std::uint32_t>(step);
  own.last = continued;
  if (!m_latest || TimeBetween(*m_latest, continued) > 0) m_latest = continued;
  return {m_shift, jump};
}

/// Returns the size of the jump to a continued time in ms; 0 if it is no jump.
std::int32_t Timeline::JumpTo(const Stream& stream, std::uint32_t time) const {
  if (!m_latest) return 0;
  const std::int32_t ahead = TimeBetween(*m_latest, time);
  if (ahead > kMaxStepAhead) return ahead;
  const std::int32_t step = stream.last ? TimeBetween(*stream.last, time) : 0;
  return step < -kMaxStepBack ? step : 0;
}

}  // namespace qbflv::flv
