#include "plugin/reader/scan_facts.h"

#include <algorithm>

#include "plugin/meta/metadata.h"
#include "plugin/reader/flv_parsers.h"
#include "plugin/util/numbers.h"

namespace qbflv {

namespace {

/// The audio rate is measured over a little more than this many ms, the frame rate over at least this many.
constexpr std::uint32_t kAudioMeasureTime = 5000;
constexpr std::uint32_t kVideoMeasureTime = 1000;

/// Durations in ms that are assumed when nothing tells them: of a stream, and for the size of the seek index.
constexpr std::uint32_t kDefaultDuration = 10000;
constexpr std::uint32_t kDefaultIndexDuration = 3600000;

/// Bytes in a time of ms, as bits per second.
std::uint32_t BitRate(std::uint32_t bytes, std::uint32_t time) { return TruncateToU32(bytes * 8000.0 / time); }

}  // namespace

Status CScanFacts::ParseFLVHeader(std::span<const std::uint8_t> bytes) {
  const Status status = ParseFileHeader(ByteCursor(bytes), m_FileHeader);
  if (Failed(status)) return status;
  m_bAudioOnly = m_FileHeader.HasAudio() && !m_FileHeader.HasVideo();
  return kOk;
}

Status CScanFacts::ScanTag(const FLVTagHeader& tag, std::span<const std::uint8_t> body, CFLVPayload& payload) {
  switch (tag.ucTagType) {
    case kTagAudio:
      return ScanAudioTag(tag, body, payload);
    case kTagVideo:
      return ScanVideoTag(tag, body, payload);
    case kTagScriptData:
      return ParseScriptData(body, m_MetaData, *this);
    default:
      return kInvalidState;
  }
}

Status CScanFacts::ScanAudioTag(const FLVTagHeader& tag, std::span<const std::uint8_t> body, CFLVPayload& payload) {
  ByteCursor cursor(body);
  Status status = ParseAudioTagHeader(cursor, m_AudioTagHeader);
  if (Failed(status) || cursor.remaining == 0) return status;
  if (!m_bFirstAudioSeen) {
    m_bFirstAudioSeen = true;
    m_ulFirstAudioTime = tag.ulTimestamp;
    UpdateTimeBase();
  }
  MeasureAudio(tag.ulTimestamp, cursor.remaining);
  status = payload.OnAudioScanTag(m_AudioTagHeader, cursor.Rest());
  m_bAudioTagExamined = true;
  return status;
}

void CScanFacts::MeasureAudio(std::uint32_t timestamp, std::uint32_t bytes) {
  if (m_bAudioBitRateKnown) return;
  const std::uint32_t elapsed = timestamp - m_ulFirstAudioTime;
  if (elapsed > kAudioMeasureTime) {
    m_bAudioBitRateKnown = true;
    m_ulAudioBitRate = BitRate(m_ulAudioBytes, elapsed);
  } else {
    m_ulAudioBytes += bytes;
  }
  const std::uint32_t relative = ToRelative(timestamp);
  m_ulLastAudioDelta = relative - m_ulLastAudioTime;
  m_ulLastAudioTime = relative;
}

Status CScanFacts::ScanVideoTag(const FLVTagHeader& tag, std::span<const std::uint8_t> body, CFLVPayload& payload) {
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
    m_ulFirstVideoTime = tag.ulTimestamp;
    UpdateTimeBase();
  }
  MeasureVideo(tag.ulTimestamp);
  m_bVideoTagExamined = true;
  status = payload.OnVideoScanTag(m_VideoTagHeader, cursor.Rest());
  if (Failed(status)) return status;
  if (!IsPictureSizeKnown() && Succeeded(payload.GetFrameSize(&m_ulVideoWidth, &m_ulVideoHeight))) {
    m_bWidthKnown = m_ulVideoWidth > 0;
    m_bHeightKnown = m_ulVideoHeight > 0;
  }
  return status;
}

void CScanFacts::MeasureVideo(std::uint32_t timestamp) {
  ++m_ulVideoTagCount;
  const std::uint32_t elapsed = timestamp - m_ulFirstVideoTime;
  if (elapsed < kVideoMeasureTime || !m_bMeasureFrameRate) return;
  m_bFrameRateKnown = true;
  m_dFrameRate = m_ulVideoTagCount * 1000.0 / elapsed;
}

void CScanFacts::UpdateTimeBase() {
  if (m_bFirstAudioSeen && m_bFirstVideoSeen) {
    m_ulTimeBase = std::min(m_ulFirstAudioTime, m_ulFirstVideoTime);
  } else {
    m_ulTimeBase = m_bFirstAudioSeen ? m_ulFirstAudioTime : m_ulFirstVideoTime;
  }
}

bool CScanFacts::IsScanComplete(CFLVPayload& payload) const {
  bool complete = true;
  if (m_FileHeader.HasAudio()) {
    if (!m_bAudioBitRateKnown || !m_bAudioTagExamined) return false;
    complete = payload.IsAudioInfoComplete() != 0;
  }
  if (m_FileHeader.HasVideo() && !(IsPictureSizeKnown() && m_bVideoTagExamined && m_bFrameRateKnown)) return false;
  return complete;
}

bool CScanFacts::AcceptEndOfFile() {
  if (m_FileHeader.HasAudio() && (!m_bFirstAudioSeen || m_ulAudioBytes == 0)) return false;
  if (m_FileHeader.HasVideo() && !IsPictureSizeKnown()) return false;
  m_bAudioDurationKnown = true;
  m_ulAudioDuration = m_ulLastAudioDelta - m_ulFirstAudioTime + m_ulLastAudioTime;
  if (m_ulAudioDuration == 0) return false;
  m_bAudioBitRateKnown = true;
  m_ulAudioBitRate = BitRate(m_ulAudioBytes, m_ulAudioDuration);
  return true;
}

/// The gap between the last two audio tags is taken as the length of the last one.
bool CScanFacts::NoteTailTag(const FLVTagHeader& tag) {
  const std::uint32_t relative = ToRelative(tag.ulTimestamp);
  if (tag.ucTagType == kTagVideo && !m_bLastVideoTimeKnown) {
    m_ulLastVideoTime = relative;
    m_bLastVideoTimeKnown = true;
    return true;
  }
  if (tag.ucTagType != kTagAudio || (m_bTailAudioSeen && m_bAudioDurationKnown)) return false;
  if (!m_bTailAudioSeen) {
    m_ulLastAudioTime = relative;
    m_bTailAudioSeen = true;
  } else {
    m_ulAudioDuration = 2 * m_ulLastAudioTime - relative;
    m_bAudioDurationKnown = true;
  }
  return true;
}

bool CScanFacts::IsTailKnown() const {
  if (m_FileHeader.HasAudio() && !m_bAudioDurationKnown) return false;
  return !m_FileHeader.HasVideo() || m_bLastVideoTimeKnown;
}

std::uint32_t CScanFacts::GetAudioDuration() const {
  if (m_bAudioDurationKnown) return m_ulAudioDuration;
  return m_bMetaDurationKnown ? m_ulMetaDuration : kDefaultDuration;
}

std::uint32_t CScanFacts::GetVideoDuration() const {
  if (m_bLastVideoTimeKnown) return m_ulLastVideoTime;
  return m_bMetaDurationKnown ? m_ulMetaDuration : kDefaultDuration;
}

std::uint32_t CScanFacts::GetIndexDuration() const {
  if (m_bAudioDurationKnown || m_bLastVideoTimeKnown) {
    return std::max(m_bAudioDurationKnown ? m_ulAudioDuration : 0, m_bLastVideoTimeKnown ? m_ulLastVideoTime : 0);
  }
  return m_bMetaDurationKnown ? m_ulMetaDuration : kDefaultIndexDuration;
}

/// The whole file, spread over its duration, less the audio. Without the audio's rate there is no estimate.
void CScanFacts::EstimateVideoBitRate(std::uint32_t fileSize) {
  const std::uint32_t duration = GetVideoDuration();
  const bool durationKnown = m_bLastVideoTimeKnown || m_bMetaDurationKnown;
  if (m_bVideoBitRateKnown || !durationKnown || duration == 0) return;
  std::uint32_t rate = TruncateToU32(fileSize * 8.0 / (duration / 1000.0));
  if (m_FileHeader.HasAudio()) {
    if (!m_bAudioBitRateKnown || rate <= m_ulAudioBitRate) return;
    rate -= m_ulAudioBitRate;
  }
  m_ulVideoBitRate = rate;
  m_bVideoBitRateKnown = true;
}

}  // namespace qbflv
