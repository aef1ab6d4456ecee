// The header scan reads tags from the start of the file until every announced stream is described; the tail scan then
// reads the last tags. A failure of the tail scan only ends the tail scan.
#include "plugin/reader/file_format.h"
#include "plugin/reader/turn.h"
#include "plugin/util/trace.h"

namespace qbflv {

Status CQBFLVFileFormat::GetFileHeader() {
  QBFLV_TRACE_POINT("CQBFLVFileFormat[%p]::GetFileHeader()", static_cast<void*>(this));
  if (m_ulState != kStateInitialized || !m_File.IsAttached()) return kInvalidState;
  return RunTurn([this] {
    const std::uint32_t firstTag = m_Facts.m_FileHeader.ulDataOffset;
    if (m_File.GetOffset() == firstTag) {
      Read(kStateScanTagHeaderPending, kTagHeaderReadBytes);
    } else {
      SeekFile(kStateScanSeekPending, firstTag);
    }
    return kOk;
  });
}

void CQBFLVFileFormat::OnScanTagHeader(const FileCompletion& completion) {
  if (Failed(completion.status)) return m_Facts.AcceptEndOfFile() ? Rewind() : FailFileHeader(completion.status);
  if (completion.Size() < kTagHeaderReadBytes) return Rewind();  // the file is shorter than the scan
  const Status status = m_Tag.ReadHeader(completion.Bytes(), m_File.GetReadOffset());
  if (Failed(status)) return FailFileHeader(status);
  Read(kStateScanTagBodyPending, m_Tag.header.ulDataSize);
}

void CQBFLVFileFormat::OnScanTagBody(const FileCompletion& completion) {
  if (Failed(completion.status) || completion.Size() < m_Tag.header.ulDataSize) return FailFileHeader(kFailed);
  const Status status = m_Facts.ScanTag(m_Tag.header, completion.Bytes(), *m_pPayload);
  if (Failed(status)) return FailFileHeader(status);
  if (m_Facts.IsScanComplete(*m_pPayload)) return EndScan();
  Read(kStateScanTagHeaderPending, kTagHeaderReadBytes);
}

void CQBFLVFileFormat::EndScan() {
  const Step step(*this);
  const bool prefersLinear = m_File.PrefersLinearAccess();
  if (step.IsAbandoned()) return;
  if (prefersLinear || !m_File.IsFileSizeKnown()) return Rewind();
  SeekFile(kStateTailSizeSeekPending, m_File.GetFileSize() - kPreviousTagSizeBytes);
}

void CQBFLVFileFormat::OnTailSize(const FileCompletion& completion) {
  std::uint32_t next = 0;
  if (Failed(completion.status) || !m_TailScan.Start(completion.Bytes(), m_File.GetReadOffset(), next)) return Rewind();
  SeekFile(kStateTailTagSeekPending, next);
}

void CQBFLVFileFormat::OnTailTag(const FileCompletion& completion) {
  std::uint32_t next = 0;
  const auto bytes = completion.Bytes();
  if (Failed(completion.status) || bytes.size() != kTagHeaderReadBytes) return Rewind();
  if (Failed(m_Tag.ReadHeader(bytes, m_File.GetReadOffset()))) return Rewind();
  if (!m_TailScan.Continue(m_Tag, m_Facts, next)) return Rewind();
  SeekFile(kStateTailTagSeekPending, next);
}

void CQBFLVFileFormat::Rewind() { SeekFile(kStateRewindPending, m_Facts.m_FileHeader.ulDataOffset); }

}  // namespace qbflv
