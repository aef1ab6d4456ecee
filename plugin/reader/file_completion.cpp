#include "plugin/reader/file_completion.h"

namespace qbflv {

Status CFileCompletions::InitDone(Status status) { return OnCompletion(Operation::kInit, status, nullptr, 0); }

Status CFileCompletions::CloseDone(Status /*status*/) { return kOk; }

Status CFileCompletions::ReadDone(Status status, IQBBuffer* buffer) {
  return OnCompletion(Operation::kRead, status, buffer, 0);
}

Status CFileCompletions::WriteDone(Status /*status*/) { return kNotImplemented; }

Status CFileCompletions::SeekDone(Status status) { return OnCompletion(Operation::kSeek, status, nullptr, 0); }

Status CFileCompletions::StatDone(Status status, std::uint32_t size) {
  return OnCompletion(Operation::kStat, status, nullptr, size);
}

}  // namespace qbflv
