// The response object that one file object completes its operations on.
#pragma once

#include "plugin/reader/file_completion.h"
#include "plugin/util/counting_object.h"

namespace qbflv {

/// Each InitFileFormat makes a new one, so that late completions of an earlier file object are not taken for those of
/// the present one. It has a reference count of its own: a file object that releases it late keeps only this object
/// alive. It counts as an object of the library, because its code must stay loaded.
class CFileResponse final : public CFileCompletions, public CQBBaseCountingObject {
 public:
  explicit CFileResponse(CFileCompletions* receiver) : m_pReceiver(receiver) {}

  /// Completions have no effect from now on.
  void Disconnect() { m_pReceiver = nullptr; }

  Status QueryInterface(const GUID& id, void** object) override;
  std::uint32_t AddRef() override;
  std::uint32_t Release() override;

  Status OnCompletion(Operation operation, Status status, IQBBuffer* buffer, std::uint32_t fileSize) override;

 private:
  std::int32_t m_lRefCount = 0;
  CFileCompletions* m_pReceiver;
};

}  // namespace qbflv
