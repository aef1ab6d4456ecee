// Facts about a file from its header, its metadata and the tags of the header scan.
#pragma once

#include <cstdint>

#include "plugin/reader/flv_records.h"

namespace qbflv {

/// Times are in ms, rates in bits per second. An absolute time is a tag's timestamp; a relative time is the timestamp
/// minus the time base. A value that has a flag below is valid only if the flag is set.
struct MediaInfo {
  // What delivery needs for every packet comes first.

  /// The earlier of the first audio and the first video time.
  std::uint32_t m_ulTimeBase = 0;
  /// Relative.
  std::uint32_t m_ulLastAudioTime = 0;
  std::uint32_t m_ulLastVideoTime = 0;

  bool m_bMetaDataPresent : 1 = false;
  bool m_bMetaDurationKnown : 1 = false;
  bool m_bWidthKnown : 1 = false;
  bool m_bHeightKnown : 1 = false;
  bool m_bAudioBitRateKnown : 1 = false;
  bool m_bVideoBitRateKnown : 1 = false;
  bool m_bAudioDurationKnown : 1 = false;
  bool m_bLastVideoTimeKnown : 1 = false;
  bool m_bFirstAudioSeen : 1 = false;
  bool m_bFirstVideoSeen : 1 = false;
  bool m_bTailAudioSeen : 1 = false;
  bool m_bAudioTagExamined : 1 = false;
  bool m_bVideoTagExamined : 1 = false;
  bool m_bFrameRateKnown : 1 = false;
  /// The scan measures the frame rate, unless the metadata contains it.
  bool m_bMeasureFrameRate : 1 = true;
  /// The header announces audio but not video, and the metadata does not describe a picture.
  bool m_bAudioOnly : 1 = false;

  FLVFileHeader m_FileHeader;

  std::uint32_t m_ulVideoWidth = 0;
  std::uint32_t m_ulVideoHeight = 0;
  std::uint32_t m_ulMetaDuration = 0;
  /// Absolute.
  std::uint32_t m_ulFirstAudioTime = 0;
  /// The last audio time minus the one before it.
  std::uint32_t m_ulLastAudioDelta = 0;
  /// Number of audio bytes scanned, without the audio tag headers.
  std::uint32_t m_ulAudioBytes = 0;
  std::uint32_t m_ulAudioDuration = 0;
  std::uint32_t m_ulAudioBitRate = 0;
  std::uint32_t m_ulVideoBitRate = 0;
  /// Absolute.
  std::uint32_t m_ulFirstVideoTime = 0;
  std::uint32_t m_ulVideoTagCount = 0;
  double m_dFrameRate = 0.0;
  /// Largest interval between key frames in the metadata's list.
  std::uint32_t m_ulMaxKeyFrameInterval = 0;

  [[nodiscard]] bool IsPictureSizeKnown() const { return m_bWidthKnown && m_bHeightKnown; }
};

}  // namespace qbflv
