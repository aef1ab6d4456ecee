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
  /// Removes and returns the oldest operation of the kind, or one of kind kNone when there is none.
  IssuedOperation TakeOldest(Operation kind) { return m_ulCount == 0 ? IssuedOperation() : FindAndRemove(kind); }
  /// The file object refused the operation: no completion is due.
  void Remove(std::uint32_t serial);
  void Clear() { *this = CSupersededOperations(); }

 private:
  IssuedOperation FindAndRemove(Operation kind);
  void RemoveAt(std::uint32_t index);

  OwnedArray<IssuedOperation> m_pOperations;
  std::uint32_t m_ulCapacity = 0;
  /// The live operations are [m_ulFirst, m_ulFirst + m_ulCount), oldest first.
  std::uint32_t m_ulFirst = 0;
  std::uint32_t m_ulCount = 0;
};

}  // namespace qbflv
