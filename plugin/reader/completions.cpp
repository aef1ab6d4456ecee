// Operations and completions: what each state issues, and the table of what each completion leads to.
#include <utility>

#include "plugin/reader/file_format.h"
#include "plugin/reader/turn.h"

namespace qbflv {

Status CQBFLVFileFormat::OnCompletion(Operation operation, Status status, IQBBuffer* buffer, std::uint32_t fileSize) {
  if (!m_File.Accept(operation, status, buffer, fileSize)) return kInvalidState;
  m_Completion = {operation, status, ComPtr<IQBBuffer>::Retain(buffer)};
  return RunTurn([] { return kOk; });
}

/// Ends early when only the turn's own reference is left: the host needs nothing more from the object.
void CQBFLVFileFormat::ProcessCompletions() {
  while (!m_Completion.IsNone() && platform::AtomicLoad(m_lRefCount) > 1) {
    FileCompletion completion = std::move(m_Completion);
    m_Completion.operation = Operation::kNone;
    Dispatch(completion);
  }
}

/// Ends the current step for something else. The caller keeps the completion that was waiting until its own state is
/// consistent: the host may call back from the last Release of the buffer.
FileCompletion CQBFLVFileFormat::AbandonStep() {
  ++m_ulEpoch;
  return std::exchange(m_Completion, FileCompletion());
}

void CQBFLVFileFormat::Read(State next, std::uint32_t size) {
  m_ulState = next;
  m_File.Read(size);
}

void CQBFLVFileFormat::SeekFile(State next, std::uint32_t offset) {
  m_ulState = next;
  m_File.Seek(offset);
}

/// The file port has matched the completion to the pending operation, which is the one that the state waits for.
void CQBFLVFileFormat::Dispatch(FileCompletion& completion) {
  const Status status = completion.status;
  const bool done = Succeeded(status);
  switch (m_ulState) {
    case kStateFileInitPending:
      return done ? SeekFile(kStateSeekStartPending, 0) : EndInit(kStateReady, status);
    case kStateSeekStartPending:
      return done ? Read(kStateFlvHeaderPending, kFlvHeaderSize) : EndInit(kStateReady, status);
    case kStateFlvHeaderPending:
      return OnFlvHeader(completion);
    case kStateStatPending:
      return EndInit(kStateInitialized, kOk);  // also without the size

    case kStateScanSeekPending:
      return done ? Read(kStateScanTagHeaderPending, kTagHeaderReadBytes) : FailFileHeader(status);
    case kStateScanTagHeaderPending:
      return OnScanTagHeader(completion);
    case kStateScanTagBodyPending:
      return OnScanTagBody(completion);
    case kStateRewindPending:
      return done ? SendFileHeader() : FailFileHeader(status);
    case kStateTailSizeSeekPending:
      return done ? Read(kStateTailSizeReadPending, kPreviousTagSizeBytes) : Rewind();
    case kStateTailSizeReadPending:
      return OnTailSize(completion);
    case kStateTailTagSeekPending:
      return done ? Read(kStateTailTagReadPending, kTagHeaderReadBytes) : Rewind();
    case kStateTailTagReadPending:
      return OnTailTag(completion);

    case kStatePacketHeaderPending:
      return OnPacketHeader(completion);
    case kStatePacketBodyPending:
      return OnPacketBody(completion);
    case kStatePacketSkipPending:
      return done ? ReadTagHeader() : OnSkipFailed();

    case kStateSeekPositionPending:
      return EndSeek(status);
    case kStateSeekScanSeekPending:
      return done ? Read(kStateSeekScanReadPending, kSeekScanReadBytes) : EndSeek(status);
    case kStateSeekScanReadPending:
      return OnSeekScanTag(completion);

    case kStateConstructed:
    case kStateReady:
    case kStateInitialized:
    case kStateStreamHeaders:
    case kStatePacketIdle:
    case kStatePacketDelivering:
      return;
  }
}

}  // namespace qbflv
