// Where one file object completes its operations. Each InitFileFormat hands out a new one, so that what an overtaken
// file object still has to say is told from the answers of the present one.
#pragma once

#include "plugin/reader/file_answers.h"
#include "plugin/util/counting_object.h"

namespace qbflv {

/// Counted apart from the file-format object: a file object that is slow to drop it keeps only this alive. It counts as
/// an object of the library, since its code must stay.
class CFileResponse final : public CFileAnswers, public CQBBaseCountingObject {
 public:
  explicit CFileResponse(CFileAnswers* taker) : m_pTaker(taker) {}

  /// From now on answers change nothing.
  void Disconnect() { m_pTaker = nullptr; }

  Status QueryInterface(const GUID& id, void** object) override;
  std::uint32_t AddRef() override;
  std::uint32_t Release() override;

  Status TakeAnswer(Completion completion, Status status, ComPtr<IQBBuffer> buffer, std::uint32_t fileSize) override;

 private:
  std::int32_t m_lRefCount = 0;
  CFileAnswers* m_pTaker;
};

}  // namespace qbflv
