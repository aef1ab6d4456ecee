#include "plugin/reader/file_port.h"

#include <new>
#include <utility>

namespace qbflv {

namespace {

/// The access that a file object is opened with: reading at any position.
constexpr std::uint32_t kFileAccess = 5;
/// Announces jumps to the end of the file.
constexpr std::uint32_t kHintRandomAccess = 1;

}  // namespace

Status CFilePort::Attach(IQBSourceFile* file, CFileCompletions* receiver) {
  *this = CFilePort();
  m_pFileObject = ComPtr<IQBSourceFile>::Retain(file);
  m_pFileResponse = ComPtr<CFileResponse>::Retain(new (std::nothrow) CFileResponse(receiver));
  return m_pFileResponse ? kOk : kOutOfMemory;
}

CFilePort::Released CFilePort::Detach() {
  if (m_pFileResponse) m_pFileResponse->Disconnect();
  m_Pending = IssuedOperation();
  m_Superseded.Clear();
  return {std::move(m_pFileStat), std::move(m_pFileObject)};
}

Status CFilePort::Init() {
  const ComPtr<CFileResponse> response = m_pFileResponse;
  return Issue({.operation = Operation::kInit},
               [&](IQBSourceFile& file) { return file.Init(kFileAccess, response.Get()); });
}

Status CFilePort::Read(std::uint32_t size) {
  m_ulReadSize = size;
  return Issue({.operation = Operation::kRead}, [size](IQBSourceFile& file) { return file.Read(size); });
}

Status CFilePort::Seek(std::uint32_t offset) {
  m_ulSeekOffset = offset;
  return Issue({.operation = Operation::kSeek, .offset = offset},
               [offset](IQBSourceFile& file) { return file.Seek(offset, 0); });
}

Status CFilePort::Stat() {
  const ComPtr<IQBFileStat> stat = m_pFileStat;
  const ComPtr<CFileResponse> response = m_pFileResponse;
  return Issue({.operation = Operation::kStat}, [&](IQBSourceFile&) { return stat->Stat(response.Get()); });
}

/// The host may complete the operation, close the file or start on another one inside the call.
template <typename Call>
Status CFilePort::Issue(const IssuedOperation& operation, Call&& call) {
  m_Pending = operation;
  const std::uint32_t serial = ++m_ulSerial;
  m_Pending.serial = serial;
  const ComPtr<IQBSourceFile> file = m_pFileObject;
  const Status status = call(*file);
  if (Succeeded(status) || m_pFileObject.Get() != file.Get()) return status;
  if (m_Pending.serial == serial) {
    m_Pending.refused = true;
  } else {
    m_Superseded.Remove(serial);
  }
  return status;
}

bool CFilePort::QueryStat() {
  const ComPtr<IQBSourceFile> file = m_pFileObject;
  ComPtr<IQBFileStat> stat = file.Query<IQBFileStat>();
  if (!stat || m_pFileObject.Get() != file.Get()) return false;
  m_pFileStat = std::move(stat);
  return true;
}

bool CFilePort::PrefersLinearAccess() {
  const ComPtr<IQBSourceFile> file = m_pFileObject;
  return file->SetAccessHint(kHintRandomAccess) == kPrefersLinearAccess;
}

bool CFilePort::Accept(Operation operation, Status status, IQBBuffer* buffer, std::uint32_t fileSize) {
  IssuedOperation stale;
  if (m_Superseded.TakeOldest(operation, stale)) {
    if (Succeeded(status) && !m_bPositioned) Move(operation, buffer, stale.offset);
    return false;
  }
  if (Succeeded(status)) {
    Move(operation, buffer, m_ulSeekOffset);
    if (operation == Operation::kSeek) m_bPositioned = true;
  }
  if (m_Pending.operation != operation) return false;
  m_Pending.operation = Operation::kNone;
  if (m_Pending.abandoned) return false;
  if (operation == Operation::kStat && Succeeded(status)) {
    m_ulFileSize = fileSize;
    m_bFileSizeKnown = true;
  }
  return true;
}

bool CFilePort::Supersede() {
  // No completion is due from an operation that was refused.
  if (m_Pending.operation != Operation::kNone && !m_Pending.refused) {
    if (!m_Superseded.Add(m_Pending)) return false;
    m_bPositioned = false;
  }
  m_Pending = IssuedOperation();
  return true;
}

/// The operation succeeded.
void CFilePort::Move(Operation operation, IQBBuffer* buffer, std::uint32_t seekTarget) {
  if (operation == Operation::kSeek) {
    m_ulFileOffset = seekTarget;
    m_bOffsetWrapped = false;
  } else if (operation == Operation::kRead && buffer != nullptr) {
    const std::uint32_t size = buffer->GetSize();
    m_ulReadOffset = m_ulFileOffset;
    m_ulFileOffset += size;
    if (m_ulFileOffset < m_ulReadOffset) m_bOffsetWrapped = true;
  }
}

}  // namespace qbflv
