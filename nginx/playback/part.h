// A part of a film: all of it, or everything from the last key frame at or before a time.
#pragma once

#include <cstdint>
#include <functional>
#include <memory>
#include <optional>
#include <vector>

#include "flv/file_source.h"
#include "flv/view_cache.h"
#include "flv/view_layout.h"

namespace qbflv::server {

// Times are in ms. The first frame of the film has the time 0, and jumps of the timestamps are removed.

struct Part {
  /// kUnreadable: reading failed or was cancelled.
  /// kTooComplex: the layout would be too large for the cache.
  enum class State { kPlayable, kUnreadable, kNotFlv, kTooComplex, kNoMedia, kPastEnd };

  State state = State::kUnreadable;
  /// The layout of the whole film; null unless state is kPlayable or kPastEnd.
  std::shared_ptr<const flv::ViewLayout> film;
  /// The layout of the view that the plug-in reads; null unless state is kPlayable. The plug-in has 32-bit offsets, so
  /// the view of a large film omits the last tags; see Continue.
  std::shared_ptr<const flv::ViewLayout> layout;
  /// Time of the first frame.
  std::uint32_t start = 0;

  /// Returns the duration of the whole film.
  std::uint32_t FilmDuration() const;
};

/// Returns the part that begins at or before a time, or an empty value if that requires reading the file. largestSize:
/// maximum size of the view in bytes. Throws std::bad_alloc.
std::optional<Part> FindPart(const flv::FileSource& file, flv::ViewCache& layouts, std::uint32_t time,
                             std::uint64_t largestSize);

/// Like FindPart, but reads the file if necessary. In a film without key frames the part begins at the last frame at or
/// before the time. isWanted: called at times during the pass, which is cancelled when it returns false.
Part LoadPart(const flv::FileSource& file, flv::ViewCache& layouts, std::uint32_t time, std::uint64_t largestSize,
              const std::function<bool()>& isWanted);

/// Replaces the layout by one that begins where it ends. time: time of the last frame. Returns false at the end of the
/// film.
bool Continue(Part& part, std::uint32_t time);

/// Returns the body of a metadata tag without file positions and sizes. duration: in ms.
std::vector<std::uint8_t> MakePartMetadata(const Part& part, std::uint32_t duration);

/// Returns the size of an FLV file that consists of metadata and all tags of the part. REQUIRES: the part is the whole
/// film. metadataSize: size of the body of the metadata tag.
std::uint64_t SizeWith(const Part& part, std::size_t metadataSize);

}  // namespace qbflv::server
