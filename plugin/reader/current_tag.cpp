#include "plugin/reader/current_tag.h"

#include "plugin/reader/flv_parsers.h"

namespace qbflv {

Status CurrentTag::ReadHeader(std::span<const std::uint8_t> bytes, std::uint32_t readOffset) {
  offset = readOffset;
  return ParseTagHeader(ByteCursor(bytes), header);
}

Status CurrentTag::ReadMediaHeader(std::span<const std::uint8_t> body) {
  ByteCursor cursor(body);
  switch (header.ucTagType) {
    case kTagAudio:
      return ParseAudioTagHeader(cursor, audio);
    case kTagVideo:
      return ParseVideoTagHeader(cursor, video);
    default:
      return kOk;
  }
}

}  // namespace qbflv
