// Decoders of the FLV records. Each returns kOk, or kFailed with the record partly filled.
#pragma once

#include <span>

#include "plugin/reader/flv_records.h"
#include "plugin/util/byte_cursor.h"

namespace qbflv {

/// Needs 9 bytes and checks the signature; version and data offset are taken as they stand.
[[nodiscard]] Status ParseFileHeader(ByteCursor cursor, FLVFileHeader& header);

/// Needs the 15 bytes of the previous tag size and the tag header.
[[nodiscard]] Status ParseTagHeader(ByteCursor cursor, FLVTagHeader& header);

/// Moves past 1 byte, or 2 when there is an AAC packet type.
[[nodiscard]] Status ParseAudioTagHeader(ByteCursor& cursor, FLVAudioTagHeader& header);

/// Moves past 1 byte, or 5 when there are AVC fields.
[[nodiscard]] Status ParseVideoTagHeader(ByteCursor& cursor, FLVVideoTagHeader& header);

/// The picture size in pixels, from the first frame's bytes after the video tag's first byte. Only Sorenson H.263 and
/// VP6 tell it there. After a failure both outputs are without meaning.
[[nodiscard]] Status GetVideoDimensions(std::span<const std::uint8_t> frame, std::uint8_t codecId, std::uint32_t& width,
                                        std::uint32_t& height);

}  // namespace qbflv
