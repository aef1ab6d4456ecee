#include "plugin/reader/file_response.h"

#include <memory>
#include <utility>

#include "plugin/platform/platform.h"
#include "plugin/util/interface_table.h"

namespace qbflv {

Status CFileResponse::QueryInterface(const GUID& id, void** object) {
  IQBFileResponse* const response = this;
  const InterfaceEntry entries[] = {
      {&IUnknown::kId, response, response},
      EntryFor(response),
      EntryFor<IQBFileStatResponse>(this),
  };
  return FindInterface(entries, id, object);
}

std::uint32_t CFileResponse::AddRef() { return static_cast<std::uint32_t>(platform::AtomicIncrement(m_lRefCount)); }

std::uint32_t CFileResponse::Release() {
  const std::int32_t count = platform::AtomicDecrement(m_lRefCount);
  if (count > 0) return static_cast<std::uint32_t>(count);
  const std::unique_ptr<CFileResponse> ended(this);
  return 0;
}

// The taker may drop the last reference to this object meanwhile: nothing of it is touched afterwards.
Status CFileResponse::TakeAnswer(Completion completion, Status status, ComPtr<IQBBuffer> buffer,
                                 std::uint32_t fileSize) {
  return m_pTaker != nullptr ? m_pTaker->TakeAnswer(completion, status, std::move(buffer), fileSize) : kInvalidState;
}

}  // namespace qbflv
