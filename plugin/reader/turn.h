// The two small guards of a call into the file-format object.
#pragma once

#include "plugin/platform/platform.h"
#include "plugin/reader/file_format.h"

namespace qbflv {

/// One call into the object that may issue operations or call the sink. The outermost keeps the object alive and, at
/// its end, takes up the completions that arrived meanwhile.
class CQBFLVFileFormat::Turn {
 public:
  explicit Turn(CQBFLVFileFormat& object) {
    if (object.m_bInTurn) return;
    m_pOutermost = ComPtr<CQBFLVFileFormat>::Retain(&object);
    object.m_bInTurn = true;
  }

  ~Turn() {
    if (!m_pOutermost) return;
    m_pOutermost->RunAnswers();
    m_pOutermost->m_bInTurn = false;
  }

  Turn(const Turn&) = delete;
  Turn& operator=(const Turn&) = delete;

 private:
  /// Null in a nested call.
  ComPtr<CQBFLVFileFormat> m_pOutermost;
};

/// Where the object was before a call to the host.
class CQBFLVFileFormat::Bookmark {
 public:
  explicit Bookmark(const CQBFLVFileFormat& object) : m_Object(object), m_ulEpoch(object.m_ulEpoch) {}

  /// The host has moved the object on, or wants nothing more of it: only the turn's own reference is left.
  [[nodiscard]] bool IsLost() const {
    return m_Object.m_ulEpoch != m_ulEpoch || platform::AtomicLoad(m_Object.m_lRefCount) <= 1;
  }

 private:
  const CQBFLVFileFormat& m_Object;
  std::uint32_t m_ulEpoch;
};

}  // namespace qbflv
