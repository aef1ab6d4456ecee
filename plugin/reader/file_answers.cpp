#include "plugin/reader/file_answers.h"

namespace qbflv {

Status CFileAnswers::InitDone(Status status) { return TakeAnswer({.completion = Completion::kInit, .status = status}); }

Status CFileAnswers::CloseDone(Status /*status*/) { return kOk; }

Status CFileAnswers::ReadDone(Status status, IQBBuffer* buffer) {
  return TakeAnswer({.completion = Completion::kRead, .status = status, .buffer = ComPtr<IQBBuffer>::Retain(buffer)});
}

Status CFileAnswers::WriteDone(Status /*status*/) { return kNotImplemented; }

Status CFileAnswers::SeekDone(Status status) { return TakeAnswer({.completion = Completion::kSeek, .status = status}); }

Status CFileAnswers::StatDone(Status status, std::uint32_t size) {
  return TakeAnswer({.completion = Completion::kStat, .status = status, .fileSize = size});
}

}  // namespace qbflv
