// The pass over an FLV file, which collects FileFacts.
#pragma once

#include <cstddef>
#include <cstdint>
#include <functional>
#include <limits>
#include <memory>

#include "flv/byte_source.h"
#include "flv/file_facts.h"

namespace qbflv::flv {

struct ScanOptions {
  /// Called about every 4 MiB with the current offset and the file size. If it returns false, the pass is cancelled and
  /// ScanFile returns null.
  std::function<bool(std::uint64_t done, std::uint64_t total)> onProgress;
  /// Approximate limit for the memory of the facts and of a layout with them, in bytes, because damaged files can have
  /// a run or a jump for every tag. Checked about every 4 MiB. A pass that exceeds it ends with
  /// FileFacts::isTooComplex.
  std::size_t mostBytes = std::numeric_limits<std::size_t>::max();
};

/// Reads the tag headers and the first bytes of each body. Accepts a file with any content. Throws std::bad_alloc, and
/// exceptions of onProgress.
std::shared_ptr<const FileFacts> ScanFile(const ByteSource& source, const ScanOptions& options = {});

/// The kind of content in a tag body.
enum class TagContent : std::uint8_t { kFrame, kKeyFrame, kConfiguration, kOther };

/// Returns the kind of content in a body. type: the tag type as stored. body: at least the first two bytes if the tag
/// has them.
TagContent ContentOf(std::uint8_t type, std::span<const std::uint8_t> body);

}  // namespace qbflv::flv
