#include "plugin/reader/file_response.h"

#include <memory>

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

// The receiver may release the last reference to this object; do not touch members after the call.
Status CFileResponse::OnCompletion(Operation operation, Status status, IQBBuffer* buffer, std::uint32_t fileSize) {
  return m_pReceiver != nullptr ? m_pReceiver->OnCompletion(operation, status, buffer, fileSize) : kInvalidState;
}

}  // namespace qbflv
