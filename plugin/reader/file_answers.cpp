#include "plugin/reader/file_answers.h"

namespace qbflv {

Status CFileAnswers::InitDone(Status status) { return TakeAnswer(Completion::kInit, status, nullptr, 0); }

Status CFileAnswers::CloseDone(Status /*status*/) { return kOk; }

Status CFileAnswers::ReadDone(Status status, IQBBuffer* buffer) {
  return TakeAnswer(Completion::kRead, status, ComPtr<IQBBuffer>::Retain(buffer), 0);
}

Status CFileAnswers::WriteDone(Status /*status*/) { return kNotImplemented; }

Status CFileAnswers::SeekDone(Status status) { return TakeAnswer(Completion::kSeek, status, nullptr, 0); }

Status CFileAnswers::StatDone(Status status, std::uint32_t size) {
  return TakeAnswer(Completion::kStat, status, nullptr, size);
}

}  // namespace qbflv
