// What the first tags, the last tags and the metadata tell about a file.
#pragma once

#include <cstdint>
#include <span>

#include "plugin/meta/amf_value.h"
#include "plugin/meta/media_info.h"
#include "plugin/payload/flv_payload.h"
#include "plugin/reader/current_tag.h"
#include "plugin/shell/host_interfaces.h"

namespace qbflv {

/// The members of MediaInfo are public for reading; the operations here and the metadata step write them.
class CScanFacts : public MediaInfo {
 public:
  /// Decodes the FLV header.
  [[nodiscard]] Status ParseFLVHeader(std::span<const std::uint8_t> bytes);

  // --- The header scan ---

  /// Examines a tag body. kInvalidState for a tag that is neither audio, video nor script data.
  [[nodiscard]] Status ScanTag(const FLVTagHeader& tag, std::span<const std::uint8_t> body, CFLVPayload& payload);
  /// Every announced stream is described. A header that announces none is complete after its first tag.
  [[nodiscard]] bool IsScanComplete(CFLVPayload& payload) const;
  /// The file ended before the scan was complete. True when what was seen suffices: the picture size must be known, and
  /// the audio rate is measured over all audio seen.
  [[nodiscard]] bool AcceptEndOfFile();

  // --- The tail scan, which meets the last tag first ---

  /// True when the tag told something new.
  bool NoteTailTag(const FLVTagHeader& tag);
  [[nodiscard]] bool IsTailKnown() const;

  // --- What follows from the facts ---

  /// A tag's time on the file's own time line, in ms.
  [[nodiscard]] std::uint32_t ToRelative(std::uint32_t timestamp) const { return timestamp - m_ulTimeBase; }
  /// The time of the stream's last tag, as the tail scan found it; relative.
  [[nodiscard]] bool IsLastAudioTime(std::uint32_t time) const { return m_bTailAudioSeen && time == m_ulLastAudioTime; }
  [[nodiscard]] bool IsLastVideoTime(std::uint32_t time) const {
    return m_bLastVideoTimeKnown && time == m_ulLastVideoTime;
  }
  /// Stream durations in ms: from the scan, else from the metadata, else an assumed one.
  [[nodiscard]] std::uint32_t GetAudioDuration() const;
  [[nodiscard]] std::uint32_t GetVideoDuration() const;
  /// The duration in ms that the seek index is sized for.
  [[nodiscard]] std::uint32_t GetIndexDuration() const;
  /// Derives the video bit rate from the file's size, in bytes, unless it is known or the facts do not suffice.
  void EstimateVideoBitRate(std::uint32_t fileSize);

  /// The format of the last audio tag examined.
  [[nodiscard]] const FLVAudioTagHeader& GetAudioFormat() const { return m_AudioTagHeader; }

  /// Released when the file header is delivered: a list of key frames can be long.
  AMFValue m_MetaData;

 private:
  [[nodiscard]] Status ScanAudioTag(const FLVTagHeader& tag, std::span<const std::uint8_t> body, CFLVPayload& payload);
  [[nodiscard]] Status ScanVideoTag(const FLVTagHeader& tag, std::span<const std::uint8_t> body, CFLVPayload& payload);
  void MeasureAudio(std::uint32_t timestamp, std::uint32_t bytes);
  void MeasureVideo(std::uint32_t timestamp);
  void UpdateTimeBase();

  FLVAudioTagHeader m_AudioTagHeader;
  FLVVideoTagHeader m_VideoTagHeader;
};

}  // namespace qbflv
