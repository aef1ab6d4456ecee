// Detects a cycle in a chain of file positions.
#pragma once

#include <cstdint>

namespace qbflv {

/// Brent's method: compares each position with one remembered position, which is replaced at distances that double. A
/// cycle of any length is found within a few rounds and in constant memory; a chain that ends is never reported.
class CycleGuard {
 public:
  void Restart() { *this = CycleGuard(); }

  /// Notes one step of the walk. True when the walk is in a cycle.
  [[nodiscard]] bool IsCycle(std::uint32_t position) {
    if (m_bStarted && position == m_ulRemembered) return true;
    if (!m_bStarted || ++m_ulSteps == m_ulDistance) {
      m_ulRemembered = position;
      m_ulSteps = 0;
      m_ulDistance = m_bStarted ? m_ulDistance * 2 : 1;
      m_bStarted = true;
    }
    return false;
  }

 private:
  bool m_bStarted = false;
  std::uint32_t m_ulRemembered = 0;
  std::uint64_t m_ulSteps = 0;
  std::uint64_t m_ulDistance = 1;
};

}  // namespace qbflv
