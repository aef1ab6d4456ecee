// Completions: how they are matched to the state that waits for them, and the table of what each one does.
#include <utility>

#include "plugin/platform/platform.h"
#include "plugin/reader/file_format.h"
#include "plugin/reader/turn.h"

namespace qbflv {

Status CQBFLVFileFormat::TakeAnswer(Completion completion, Status status, ComPtr<IQBBuffer> buffer,
                                    std::uint32_t fileSize) {
  if (!m_pFileObject) return kInvalidState;  // closed: nothing is left to act on
  if (m_Operations.TakeOvertaken(completion)) {
    NoteOvertaken(completion, status, buffer.Get());
    return kInvalidState;
  }
  m_Operations.Answered(completion, Succeeded(status));
  // The file object has moved, whether the answer is expected or not.
  if (Succeeded(status)) {
    if (completion == Completion::kRead) MoveOn(buffer.Get());
    if (completion == Completion::kSeek) MoveTo(m_ulSeekOffset);
  }
  // In the middle of a step the state still is the one that its answer was expected in.
  if (completion != ExpectedCompletion(m_ulState) || !m_Operations.TakeDue()) return kInvalidState;

  m_Answer = {completion, status, std::move(buffer), fileSize};
  const Turn turn(*this);  // takes the answer up at its end, or leaves it to the outermost call
  return kOk;
}

/// The answer to an operation that a seek has overtaken. Nothing comes of it, but where it led the file counts if the
/// seek fails.
void CQBFLVFileFormat::NoteOvertaken(Completion completion, Status status, IQBBuffer* buffer) {
  if (Failed(status) || m_Operations.IsFilePlaced()) return;
  if (completion == Completion::kSeek) MoveTo(m_Operations.GetOvertakenOffset());
  if (completion == Completion::kRead) MoveOn(buffer);
}

void CQBFLVFileFormat::MoveTo(std::uint32_t offset) {
  m_ulFileOffset = offset;
  m_bOffsetCameRound = false;
}

void CQBFLVFileFormat::MoveOn(IQBBuffer* buffer) {
  if (buffer == nullptr) return;
  const std::uint32_t size = buffer->GetSize();
  if (size > kLastOffset - m_ulFileOffset) m_bOffsetCameRound = true;
  m_ulFileOffset += size;
}

void CQBFLVFileFormat::RunAnswers() {
  while (m_Answer.completion != Completion::kNone) {
    Answer answer = std::exchange(m_Answer, Answer());
    if (platform::AtomicLoad(m_lRefCount) <= 1) return;  // the host wants nothing more of the object
    Dispatch(std::move(answer));
  }
}

void CQBFLVFileFormat::Dispatch(Answer answer) {
  const Status status = answer.status;
  IQBBuffer* const buffer = answer.buffer.Get();
  const bool done = Succeeded(status);
  switch (m_ulState) {
    case kStateFileInitPending:
      return done ? SeekFile(kStateSeekStartPending, 0) : EndInit(kStateReady, status);
    case kStateSeekStartPending:
      return done ? Read(kStateFlvHeaderPending, kFlvHeaderSize) : EndInit(kStateReady, status);
    case kStateFlvHeaderPending:
      return OnFlvHeader(status, buffer);
    case kStateStatPending:
      return OnFileSize(status, answer.fileSize);

    case kStateScanSeekPending:
      return done ? Read(kStateScanTagHeaderPending, kTagHeaderReadBytes) : FailFileHeader(status);
    case kStateScanTagHeaderPending:
      return OnScanTagHeader(status, buffer);
    case kStateScanTagBodyPending:
      return OnScanTagBody(status, buffer);
    case kStateRewindPending:
      return done ? SendFileHeader() : FailFileHeader(status);
    case kStateTailSizeSeekPending:
      return done ? Read(kStateTailSizeReadPending, kPreviousTagSizeBytes) : Rewind();
    case kStateTailSizeReadPending:
      return OnTailSize(status, buffer);
    case kStateTailTagSeekPending:
      return done ? Read(kStateTailTagReadPending, kTagHeaderReadBytes) : Rewind();
    case kStateTailTagReadPending:
      return OnTailTag(status, buffer);

    case kStatePacketHeaderPending:
      return OnPacketHeader(status, std::move(answer.buffer));
    case kStatePacketBodyPending:
      return OnPacketBody(status, buffer);
    case kStatePacketSkipPending:
      return done ? ReadTagHeader() : OnSkipFailed();

    case kStateSeekPositionPending:
      return EndSeek(status);
    case kStateSeekScanSeekPending:
      return done ? Read(kStateSeekScanReadPending, kSeekScanReadBytes) : EndSeek(status);
    case kStateSeekScanReadPending:
      return OnSeekScanTag(status, buffer);

    case kStateConstructed:
    case kStateReady:
    case kStateInitialized:
    case kStateStreamHeaders:
    case kStatePacketIdle:
    case kStatePacketDelivering:
      return;
  }
}

void CQBFLVFileFormat::Read(State next, std::uint32_t size) {
  m_ulState = next;
  m_ulReadSize = size;
  const ComPtr<IQBSourceFile> file = m_pFileObject;
  const std::uint32_t number = m_Operations.Begin(Completion::kRead);
  if (Failed(file->Read(size))) NoteRefusal(file.Get(), Completion::kRead, number);
}

void CQBFLVFileFormat::SeekFile(State next, std::uint32_t offset) {
  m_ulState = next;
  m_ulSeekOffset = offset;
  const ComPtr<IQBSourceFile> file = m_pFileObject;
  const std::uint32_t number = m_Operations.Begin(Completion::kSeek);
  if (Failed(file->Seek(offset, 0))) NoteRefusal(file.Get(), Completion::kSeek, number);
}

/// The state still waits for an answer, which a file object may give all the same; but a seek need not expect one.
void CQBFLVFileFormat::NoteRefusal(const IQBSourceFile* file, Completion kind, std::uint32_t number) {
  if (m_pFileObject.Get() == file) m_Operations.Refuse(kind, number);
}

}  // namespace qbflv
