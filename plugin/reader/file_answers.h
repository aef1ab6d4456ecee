// The completions of a file object, gathered into one form.
#pragma once

#include "plugin/reader/reader_state.h"
#include "plugin/shell/host_interfaces.h"
#include "plugin/util/com_ptr.h"

namespace qbflv {

/// One completion as it arrived.
struct Answer {
  Completion completion = Completion::kNone;
  Status status = kOk;
  /// Of a read; may be null.
  ComPtr<IQBBuffer> buffer;
  /// Of a stat, in bytes.
  std::uint32_t fileSize = 0;
};

/// Implements the two response interfaces in terms of one operation.
class CFileAnswers : public IQBFileResponse, public IQBFileStatResponse {
 public:
  /// kOk when the answer is acted on, kInvalidState when it is not expected. The buffer is that of a read, and may be
  /// null; the size that of a stat, in bytes.
  virtual Status TakeAnswer(Completion completion, Status status, ComPtr<IQBBuffer> buffer, std::uint32_t fileSize) = 0;

  Status InitDone(Status status) override;
  Status CloseDone(Status status) override;
  Status ReadDone(Status status, IQBBuffer* buffer) override;
  Status WriteDone(Status status) override;
  Status SeekDone(Status status) override;
  Status StatDone(Status status, std::uint32_t size) override;

 protected:
  ~CFileAnswers() = default;
};

}  // namespace qbflv
