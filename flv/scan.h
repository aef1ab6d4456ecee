// The pass over an FLV file that finds out all that FileFacts holds.
#pragma once

#include <cstdint>
#include <functional>
#include <memory>

#include "flv/byte_source.h"
#include "flv/file_facts.h"

namespace qbflv::flv {

struct ScanOptions {
  /// Called now and then with the bytes done and those of the file; false gives up, and the facts are null.
  std::function<bool(std::uint64_t done, std::uint64_t total)> onProgress;
};

/// Reads the tag headers and the first bytes of each body. Any bytes at all are a file that it takes. Throws
/// std::bad_alloc, and what onProgress throws.
std::shared_ptr<const FileFacts> ScanFile(const ByteSource& source, const ScanOptions& options = {});

/// How a tag's body begins.
enum class TagContent : std::uint8_t { kFrame, kKeyFrame, kConfiguration, kOther };

/// Whether a tag of this type is a frame, a codec configuration, or neither. body: at least its first two bytes, where
/// it has them.
TagContent ContentOf(std::uint8_t type, std::span<const std::uint8_t> body);

}  // namespace qbflv::flv
