// What a viewer gets of a film: all of it, or what follows the last key frame at or before a time.
#pragma once

#include <cstdint>
#include <memory>
#include <optional>
#include <vector>

#include "flv/file_source.h"
#include "flv/view_cache.h"
#include "flv/view_layout.h"

namespace qbflv::server {

// Times are in ms of the film: its first frame has the time 0, and timestamps that jump in the file continue.

struct Part {
  enum class State { kPlayable, kUnreadable, kNotFlv, kNoMedia, kPastEnd };

  State state = State::kUnreadable;
  /// The whole film; null unless it is playable or kPastEnd.
  std::shared_ptr<const flv::ViewLayout> film;
  /// What the plug-in reads, from the first frame on; null unless it is playable. The plug-in has 32-bit offsets, so
  /// the last tags of a large film may be missing; see Continue.
  std::shared_ptr<const flv::ViewLayout> layout;
  /// Of the first frame.
  std::uint32_t start = 0;

  /// In ms.
  std::uint32_t FilmDuration() const;
};

/// Finds a part in what is in memory. largestSize: of what the plug-in reads. Empty if the file must be read for that.
/// Throws std::bad_alloc.
std::optional<Part> FindPart(const flv::FileSource& file, flv::ViewCache& layouts, std::uint32_t time,
                             std::uint64_t largestSize);

/// The same, and reads the file. A film without key frames starts at the last frame at or before the time.
Part LoadPart(const flv::FileSource& file, flv::ViewCache& layouts, std::uint32_t time, std::uint64_t largestSize);

/// Lets the plug-in read on where the layout ends. time: of the last frame. False at the end of the film.
bool Continue(Part& part, std::uint32_t time);

/// The body of the metadata's tag, without what tells places in the file. duration: in ms.
std::vector<std::uint8_t> MakePartMetadata(const Part& part, std::uint32_t duration);

/// Bytes of the FLV file that has this metadata and all tags of the part, which is the whole film.
std::uint64_t SizeWith(const Part& part, std::size_t metadataSize);

}  // namespace qbflv::server
