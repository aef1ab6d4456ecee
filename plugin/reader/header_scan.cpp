// The header scan: reads tags from the start of the file until every announced stream is described.
#include "plugin/meta/metadata.h"
#include "plugin/reader/file_format.h"
#include "plugin/reader/flv_parsers.h"
#include "plugin/reader/turn.h"
#include "plugin/util/host_objects.h"
#include "plugin/util/numbers.h"

namespace qbflv {

namespace {

/// The audio rate is measured over a little more than this many ms, the frame rate over at least this many.
constexpr std::uint32_t kAudioMeasureTime = 5000;
constexpr std::uint32_t kVideoMeasureTime = 1000;

/// Announces jumps to the end of the file.
constexpr std::uint32_t kHintRandomAccess = 1;

/// Bytes in a time of ms, as bits per second.
std::uint32_t BitRate(std::uint32_t bytes, std::uint32_t time) { return TruncateToU32(bytes * 8000.0 / time); }

}  // namespace

void CQBFLVFileFormat::OnScanTagHeader(Status status, IQBBuffer* buffer) {
  if (Failed(status)) return OnScanEndOfFile(status);
  const auto bytes = BufferBytes(buffer);
  if (bytes.size() < kTagHeaderReadBytes) return Rewind();  // the file is shorter than the scan
  status = ParseTagHeader(ByteCursor(bytes), m_TagHeader);
  if (Failed(status)) return FailFileHeader(status);
  Read(kStateScanTagBodyPending, m_TagHeader.ulDataSize);
}

/// The read at the end of the file failed. What was seen may do: the picture size must be known, and the audio rate is
/// measured over all of it.
void CQBFLVFileFormat::OnScanEndOfFile(Status status) {
  if (m_FileHeader.HasAudio() && (!m_bFirstAudioSeen || m_ulAudioBytes == 0)) return FailFileHeader(status);
  if (m_FileHeader.HasVideo() && !IsPictureSizeKnown()) return FailFileHeader(status);
  m_bAudioDurationKnown = true;
  m_ulAudioDuration = m_ulLastAudioDelta - m_ulFirstAudioTime + m_ulLastAudioTime;
  if (m_ulAudioDuration == 0) return FailFileHeader(status);
  m_bAudioBitRateKnown = true;
  m_ulAudioBitRate = BitRate(m_ulAudioBytes, m_ulAudioDuration);
  Rewind();
}

void CQBFLVFileFormat::OnScanTagBody(Status status, IQBBuffer* buffer) {
  const auto body = BufferBytes(buffer);
  if (Failed(status) || body.size() < m_TagHeader.ulDataSize) return FailFileHeader(kFailed);
  status = ScanTag(body);
  if (Failed(status)) return FailFileHeader(status);
  if (IsScanComplete()) return EndScan();
  Read(kStateScanTagHeaderPending, kTagHeaderReadBytes);
}

Status CQBFLVFileFormat::ScanTag(std::span<const std::uint8_t> body) {
  switch (m_TagHeader.ucTagType) {
    case kTagAudio:
      return ScanAudioTag(body);
    case kTagVideo:
      return ScanVideoTag(body);
    case kTagScriptData:
      return ParseScriptData(body, m_MetaData, *this);
    default:
      return kInvalidState;
  }
}

Status CQBFLVFileFormat::ScanAudioTag(std::span<const std::uint8_t> body) {
  ByteCursor cursor(body);
  Status status = ParseAudioTagHeader(cursor, m_AudioTagHeader);
  if (Failed(status) || cursor.remaining == 0) return status;
  if (!m_bFirstAudioSeen) {
    m_bFirstAudioSeen = true;
    m_ulFirstAudioTime = m_TagHeader.ulTimestamp;
    UpdateTimeBase();
  }
  MeasureAudio(cursor.remaining);
  status = m_pPayload->OnAudioScanTag(m_AudioTagHeader, cursor.Rest());
  m_bAudioTagExamined = true;
  return status;
}

void CQBFLVFileFormat::MeasureAudio(std::uint32_t bytes) {
  if (m_bAudioBitRateKnown) return;
  const std::uint32_t elapsed = m_TagHeader.ulTimestamp - m_ulFirstAudioTime;
  if (elapsed > kAudioMeasureTime) {
    m_bAudioBitRateKnown = true;
    m_ulAudioBitRate = BitRate(m_ulAudioBytes, elapsed);
  } else {
    m_ulAudioBytes += bytes;
  }
  const std::uint32_t relative = m_TagHeader.ulTimestamp - m_ulTimeBase;
  m_ulLastAudioDelta = relative - m_ulLastAudioTime;
  m_ulLastAudioTime = relative;
}

Status CQBFLVFileFormat::ScanVideoTag(std::span<const std::uint8_t> body) {
  ByteCursor cursor(body);
  Status status = ParseVideoTagHeader(cursor, m_VideoTagHeader);
  if (Failed(status) || cursor.remaining == 0) return status;
  if (!IsPictureSizeKnown() &&
      Succeeded(GetVideoDimensions(cursor.Rest(), m_VideoTagHeader.ucCodecId, m_ulVideoWidth, m_ulVideoHeight))) {
    m_bWidthKnown = true;
    m_bHeightKnown = true;
  }
  if (!m_bFirstVideoSeen) {
    m_bFirstVideoSeen = true;
    m_ulFirstVideoTime = m_TagHeader.ulTimestamp;
    UpdateTimeBase();
  }
  ++m_ulVideoTagCount;
  const std::uint32_t elapsed = m_TagHeader.ulTimestamp - m_ulFirstVideoTime;
  if (elapsed >= kVideoMeasureTime && m_bMeasureFrameRate) {
    m_bFrameRateKnown = true;
    m_dFrameRate = m_ulVideoTagCount * 1000.0 / elapsed;
  }
  m_bVideoTagExamined = true;
  status = m_pPayload->OnVideoScanTag(m_VideoTagHeader, cursor.Rest());
  if (Failed(status)) return status;
  if (!IsPictureSizeKnown() && Succeeded(m_pPayload->GetFrameSize(&m_ulVideoWidth, &m_ulVideoHeight))) {
    m_bWidthKnown = m_ulVideoWidth > 0;
    m_bHeightKnown = m_ulVideoHeight > 0;
  }
  return status;
}

void CQBFLVFileFormat::UpdateTimeBase() {
  if (m_bFirstAudioSeen && m_bFirstVideoSeen) {
    m_ulTimeBase = m_ulFirstAudioTime < m_ulFirstVideoTime ? m_ulFirstAudioTime : m_ulFirstVideoTime;
  } else if (m_bFirstAudioSeen) {
    m_ulTimeBase = m_ulFirstAudioTime;
  } else if (m_bFirstVideoSeen) {
    m_ulTimeBase = m_ulFirstVideoTime;
  }
}

/// A header that announces no stream is complete after its first tag.
bool CQBFLVFileFormat::IsScanComplete() {
  bool complete = true;
  if (m_FileHeader.HasAudio()) {
    if (!m_bAudioBitRateKnown || !m_bAudioTagExamined) return false;
    complete = m_pPayload->IsAudioInfoComplete() != 0;
  }
  if (m_FileHeader.HasVideo() && !(IsPictureSizeKnown() && m_bVideoTagExamined && m_bFrameRateKnown)) return false;
  return complete;
}

void CQBFLVFileFormat::EndScan() {
  const Bookmark here(*this);
  const ComPtr<IQBSourceFile> file = m_pFileObject;
  const bool prefersLinear = file->SetAccessHint(kHintRandomAccess) == kPrefersLinearAccess;
  if (here.IsLost()) return;
  m_ulStreamCount = m_pPayload->InitStreams(m_FileHeader);
  if (prefersLinear || !m_bFileSizeKnown) return Rewind();
  SeekFile(kStateTailSizeSeekPending, m_ulFileSize - kPreviousTagSizeBytes);
}

void CQBFLVFileFormat::Rewind() { SeekFile(kStateRewindPending, m_FileHeader.ulDataOffset); }

void CQBFLVFileFormat::FailFileHeader(Status status) {
  m_ulState = kStateInitialized;
  const ComPtr<IQBFormatSink> sink = m_pFormatSink;
  sink->FileHeaderReady(status, nullptr);
}

}  // namespace qbflv
