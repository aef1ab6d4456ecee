// The walk over the last tags, from the end of the file backwards.
#pragma once

#include <cstdint>
#include <span>

#include "plugin/reader/current_tag.h"
#include "plugin/reader/cycle_guard.h"
#include "plugin/reader/scan_facts.h"

namespace qbflv {

/// Each step returns true with the offset of the previous-tag-size field to read next, or false when the walk is over:
/// the durations are known, the bytes cannot be read, or the chain of sizes is a cycle that tells nothing new.
class CTailScan {
 public:
  /// lastTagSize: the last 4 bytes of the file, read at that offset.
  [[nodiscard]] bool Start(std::span<const std::uint8_t> lastTagSize, std::uint32_t readOffset, std::uint32_t& next);
  [[nodiscard]] bool Continue(const CurrentTag& tag, CScanFacts& facts, std::uint32_t& next);

 private:
  [[nodiscard]] bool StepBack(std::uint32_t offset, std::uint32_t previousTagSize, std::uint32_t& next);

  CycleGuard m_Cycle;
};

}  // namespace qbflv
