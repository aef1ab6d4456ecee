// The completions of a file object in one form.
#pragma once

#include <cstdint>
#include <span>

#include "plugin/shell/host_interfaces.h"
#include "plugin/util/com_ptr.h"
#include "plugin/util/host_objects.h"

namespace qbflv {

/// What the reader asks of a file object.
enum class Operation : std::uint8_t { kNone, kInit, kRead, kSeek, kStat };

/// One completion as it arrived. The file port keeps what a stat tells.
struct FileCompletion {
  [[nodiscard]] bool IsNone() const { return operation == Operation::kNone; }
  /// The bytes and the size of a read's buffer, see BufferBytes.
  [[nodiscard, gnu::always_inline]] std::span<const std::uint8_t> Bytes() const { return BufferBytes(buffer.Get()); }
  [[nodiscard]] std::uint32_t Size() const { return buffer ? buffer->GetSize() : 0; }

  Operation operation = Operation::kNone;
  Status status = kOk;
  /// Of a read; may be null.
  ComPtr<IQBBuffer> buffer;
};

/// Implements the two response interfaces in terms of one operation.
class CFileCompletions : public IQBFileResponse, public IQBFileStatResponse {
 public:
  /// kOk when the completion is acted on, kInvalidState when it is not expected. buffer: of a read, borrowed, may be
  /// null. fileSize: of a stat, in bytes.
  virtual Status OnCompletion(Operation operation, Status status, IQBBuffer* buffer, std::uint32_t fileSize) = 0;

  Status InitDone(Status status) override;
  Status CloseDone(Status status) override;
  Status ReadDone(Status status, IQBBuffer* buffer) override;
  Status WriteDone(Status status) override;
  Status SeekDone(Status status) override;
  Status StatDone(Status status, std::uint32_t size) override;

 protected:
  ~CFileCompletions() = default;
};

}  // namespace qbflv
