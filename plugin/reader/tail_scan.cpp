#include "plugin/reader/tail_scan.h"

#include "plugin/util/byte_cursor.h"

namespace qbflv {

bool CTailScan::Start(std::span<const std::uint8_t> lastTagSize, std::uint32_t readOffset, std::uint32_t& next) {
  if (lastTagSize.size() != kPreviousTagSizeBytes) return false;
  m_Cycle.Restart();
  ByteCursor cursor(lastTagSize);
  std::uint32_t size = 0;
  return Succeeded(ReadUINT32(cursor, size)) && StepBack(readOffset, size, next);
}

/// A tag that tells something new restarts the cycle detection: only a round that tells nothing can go on for ever.
bool CTailScan::Continue(const CurrentTag& tag, CScanFacts& facts, std::uint32_t& next) {
  if (facts.NoteTailTag(tag.header)) m_Cycle.Restart();
  if (facts.IsTailKnown()) return false;
  return StepBack(tag.offset, tag.header.ulPreviousTagSize, next);
}

/// Sizes are not checked: offsets wrap modulo 2^32.
bool CTailScan::StepBack(std::uint32_t offset, std::uint32_t previousTagSize, std::uint32_t& next) {
  next = offset - previousTagSize - kPreviousTagSizeBytes;
  return !m_Cycle.IsCycle(next);
}

}  // namespace qbflv
