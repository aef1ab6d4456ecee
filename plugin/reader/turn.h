// How calls into the file-format object nest: turns and steps.
#pragma once

#include <utility>

#include "plugin/platform/platform.h"
#include "plugin/reader/file_format.h"

namespace qbflv {

/// Runs a step of the object. The outermost call is a turn: it keeps the object alive, and processes the completions
/// that arrive while its steps run. A nested call only runs its step.
template <typename Action>
Status CQBFLVFileFormat::RunTurn(Action&& action) {
  if (m_bInTurn) return action();
  const auto self = ComPtr<CQBFLVFileFormat>::Retain(this);
  m_bInTurn = true;
  const Status status = action();
  ProcessCompletions();
  m_bInTurn = false;
  return status;
}

/// Marks a step before it calls the host.
class CQBFLVFileFormat::Step {
 public:
  explicit Step(const CQBFLVFileFormat& object) : m_Object(object), m_ulEpoch(object.m_ulEpoch) {}

  /// The host has closed the object or started something else inside the call, or released its last reference: only the
  /// turn's own reference is left. The step must end without touching the members.
  [[nodiscard]] bool IsAbandoned() const {
    return m_Object.m_ulEpoch != m_ulEpoch || platform::AtomicLoad(m_Object.m_lRefCount) <= 1;
  }

 private:
  const CQBFLVFileFormat& m_Object;
  std::uint32_t m_ulEpoch;
};

}  // namespace qbflv
