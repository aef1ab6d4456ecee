// The operations whose results are no longer wanted but whose completions are still due.
#pragma once

#include <cstdint>

#include "plugin/reader/file_completion.h"
#include "plugin/util/owned.h"

namespace qbflv {

/// An operation that was issued.
struct IssuedOperation {
  Operation operation = Operation::kNone;
  /// The file object refused it at once. It need not complete it, but may.
  bool refused = false;
  /// Its completion only moves the position.
  bool abandoned = false;
  /// Identifies the operation among those of one file.
  std::uint32_t serial = 0;
  /// Target of a seek.
  std::uint32_t offset = 0;
};

/// A completion does not say which operation it belongs to, but a file object completes the operations of one kind in
/// the order in which they were issued.
class CSupersededOperations {
 public:
  /// False, with nothing changed, on allocation failure.
  [[nodiscard]] bool Add(const IssuedOperation& operation);
  /// Removes the oldest operation of the kind. False when there is none.
  [[nodiscard]] bool TakeOldest(Operation kind, IssuedOperation& oldest) {
    return m_ulCount > 0 && FindAndRemove(kind, oldest);
  }
  /// The file object refused the operation: no completion is due.
  void Remove(std::uint32_t serial);
  void Clear() { *this = CSupersededOperations(); }

 private:
  [[nodiscard]] bool FindAndRemove(Operation kind, IssuedOperation& oldest);
  void RemoveAt(std::uint32_t index);

  /// The live operations are [m_ulFirst, m_ulFirst + m_ulCount), oldest first.
  std::uint32_t m_ulCount = 0;
  std::uint32_t m_ulFirst = 0;
  std::uint32_t m_ulCapacity = 0;
  OwnedArray<IssuedOperation> m_pOperations;
};

}  // namespace qbflv
