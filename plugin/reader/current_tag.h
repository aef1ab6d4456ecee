// The tag that the reader is at: its headers as decoded, and its place in the file.
#pragma once

#include <cstdint>
#include <span>

#include "plugin/reader/flv_records.h"
#include "plugin/shell/host_interfaces.h"

namespace qbflv {

struct CurrentTag {
  /// Decodes the previous-tag-size field and the tag header, read at that offset.
  [[nodiscard]] Status ReadHeader(std::span<const std::uint8_t> bytes, std::uint32_t offset);
  /// Decodes the audio or video tag header at the start of the body; kOk without effect for any other tag type.
  Status ReadMediaHeader(std::span<const std::uint8_t> body);

  /// A tag that delivery can restart at: any but a video tag that is no key frame.
  [[nodiscard]] bool IsKeyPosition() const {
    return header.ucTagType != kTagVideo || video.ucFrameType == kFrameTypeKey;
  }
  /// Where the next tag's previous-tag-size field begins; may lie past the last 32-bit offset.
  [[nodiscard]] std::uint64_t GetNextOffset() const {
    return std::uint64_t{offset} + kTagHeaderReadBytes + header.ulDataSize;
  }

  FLVTagHeader header;
  FLVAudioTagHeader audio;
  FLVVideoTagHeader video;
  /// Of the previous-tag-size field in front of the tag.
  std::uint32_t offset = 0;
};

}  // namespace qbflv
