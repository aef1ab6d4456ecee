#include "plugin/reader/superseded_operations.h"

#include <algorithm>
#include <utility>

namespace qbflv {

namespace {

constexpr std::uint32_t kInitialCapacity = 8;

}  // namespace

bool CSupersededOperations::Add(const IssuedOperation& operation) {
  if (m_ulFirst + m_ulCount == m_ulCapacity) {
    const std::uint32_t capacity = std::max(kInitialCapacity, m_ulCount * 2);
    OwnedArray<IssuedOperation> grown = MakeArray<IssuedOperation>(capacity);
    if (!grown) return false;
    std::copy_n(m_pOperations.get() + m_ulFirst, m_ulCount, grown.get());
    m_pOperations = std::move(grown);
    m_ulCapacity = capacity;
    m_ulFirst = 0;
  }
  m_pOperations[m_ulFirst + m_ulCount++] = operation;
  return true;
}

bool CSupersededOperations::FindAndRemove(Operation kind, IssuedOperation& oldest) {
  for (std::uint32_t i = 0; i < m_ulCount; ++i) {
    if (m_pOperations[m_ulFirst + i].operation != kind) continue;
    oldest = m_pOperations[m_ulFirst + i];
    RemoveAt(i);
    return true;
  }
  return false;
}

void CSupersededOperations::Remove(std::uint32_t serial) {
  for (std::uint32_t i = 0; i < m_ulCount; ++i) {
    if (m_pOperations[m_ulFirst + i].serial == serial) return RemoveAt(i);
  }
}

void CSupersededOperations::RemoveAt(std::uint32_t index) {
  IssuedOperation* const first = m_pOperations.get() + m_ulFirst;
  // Usually the oldest goes, and nothing moves.
  std::move_backward(first, first + index, first + index + 1);
  ++m_ulFirst;
  --m_ulCount;
}

}  // namespace qbflv
