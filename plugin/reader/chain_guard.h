// Notices when a walk along a chain of file positions comes round to where it was.
#pragma once

#include <cstdint>

namespace qbflv {

/// Brent's method: compares with one remembered position, which is moved up at distances that double. A circle of any
/// length is noticed within a few rounds, in constant memory, and a chain that ends by itself is never taken for one.
class ChainGuard {
 public:
  /// Starts anew at any position.
  void Restart() { *this = ChainGuard(); }

  /// Notes a step of the walk; true when the position was met before.
  [[nodiscard]] bool ComesRound(std::uint32_t position) {
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
