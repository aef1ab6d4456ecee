// A part of a film: all of it, or everything from the last key frame at or before a time.
#include "nginx/playback/part.h"

#include <algorithm>
#include <array>
#include <limits>
#include <string>
#include <utility>

#include "flv/amf.h"
#include "flv/format.h"
#include "flv/timeline.h"

namespace qbflv::server {

namespace {

struct Place {
  std::uint32_t tag = 0;
  std::uint32_t time = 0;
};

flv::ViewOptions FilmOptions() {
  flv::ViewOptions options;
  options.retime = true;
  options.rebase = true;
  // Each part is read from its start, so no reader needs the key-frame list.
  options.mostKeyFrames = 0;
  options.largestSize = std::numeric_limits<std::uint64_t>::max();
  return options;
}

std::uint32_t TimeOf(const flv::ViewLayout& film, std::uint32_t tag, std::uint32_t fileTime) {
  return film.TimeIn(film.PieceOf(tag), fileTime);
}

/// Finds the last key frame at or before a time.
Place FindKeyFrame(const flv::ViewLayout& film, std::uint32_t time) {
  const std::vector<flv::KeyPosition>& keys = film.Facts().keyPositions;
  const auto timeOf = [&](const flv::KeyPosition& key) { return TimeOf(film, key.tag, key.time); };
  // A step back is at most this large, so all key positions from here on are later than the time. In a file that steps
  // back again and again, the result may be an earlier key frame.
  const std::uint64_t latest = std::uint64_t{time} + flv::Timeline::kMaxStepBack;
  auto key = std::ranges::partition_point(
      keys, [&](std::uint64_t keyTime) { return keyTime <= latest; }, timeOf);
  while (key != keys.begin()) {
    --key;
    if (key->isKeyFrame && timeOf(*key) <= time) return {key->tag, timeOf(*key)};
  }
  return {};
}

/// Finds a frame at or before a time by binary search. It is the last such frame if times ascend; otherwise a few later
/// frames may be at or before the time, too. Returns an empty value if reading the file fails.
std::optional<Place> FindFrame(const flv::FileSource& file, const flv::ViewLayout& film, std::uint32_t time) {
  Place found;
  std::uint32_t low = 0;
  for (std::uint32_t high = film.TagCount(); low < high;) {
    const std::uint32_t middle = low + (high - low) / 2;
    std::array<std::uint8_t, flv::kTagHeaderSize> header;
    const std::int64_t got = file.ReadAt(film.Facts().TagOffset(middle), header);
    if (got != std::int64_t{flv::kTagHeaderSize}) return std::nullopt;
    const std::uint32_t tagTime = TimeOf(film, middle, flv::ReadTagHeader(header.data()).time);
    if (tagTime <= time) {
      found = {middle, tagTime};
      low = middle + 1;
    } else {
      high = middle;
    }
  }
  return found;
}

bool HasKeyFrames(const flv::ViewLayout& film) { return film.Facts().video.keyFrames > 0; }

std::shared_ptr<const flv::ViewLayout> LayOut(const std::shared_ptr<const flv::ViewLayout>& film, const Place& place,
                                              std::uint64_t largestSize) {
  if (place.tag == 0 && film->Size() <= largestSize) return film;
  flv::ViewOptions options = film->Options();
  options.largestSize = largestSize;
  options.firstTag = place.tag;
  options.firstTime = place.time;
  return std::make_shared<flv::ViewLayout>(film->SharedFacts(), options);
}

/// Tags before the first key frame belong to the part that begins at 0.
Part MakePart(std::shared_ptr<const flv::ViewLayout> film, Place place, std::uint64_t largestSize) {
  if (place.time == 0) place.tag = 0;
  Part part;
  part.state = Part::State::kPlayable;
  part.start = place.time;
  part.layout = LayOut(film, place, largestSize);
  part.film = std::move(film);
  return part;
}

Part PastEnd(std::shared_ptr<const flv::ViewLayout> film) {
  Part part;
  part.state = Part::State::kPastEnd;
  part.film = std::move(film);
  return part;
}

}  // namespace

std::uint32_t Part::FilmDuration() const {
  const flv::FileFacts& facts = film->Facts();
  return film->LatestTime() + std::max(facts.audio.lastDistance, facts.video.lastDistance);
}

std::optional<Part> FindPart(const flv::FileSource& file, flv::ViewCache& layouts, std::uint32_t time,
                             std::uint64_t largestSize) {
  auto film = layouts.Find(file, FilmOptions());
  if (!film || film->TagCount() == 0) return std::nullopt;
  if (time > film->LatestTime()) return PastEnd(std::move(film));
  if (time > 0 && !HasKeyFrames(*film)) return std::nullopt;
  const Place place = time == 0 ? Place{} : FindKeyFrame(*film, time);
  return MakePart(std::move(film), place, largestSize);
}

Part LoadPart(const flv::FileSource& file, flv::ViewCache& layouts, std::uint32_t time, std::uint64_t largestSize,
              const std::function<bool()>& isWanted) {
  Part part;
  if (!isWanted()) return part;
  const flv::ScanOptions scan{.onProgress = [&](std::uint64_t, std::uint64_t) { return isWanted(); }};
  auto film = layouts.Get(file, FilmOptions(), scan);
  if (!isWanted()) return part;
  if (!film) {
    std::array<std::uint8_t, 1> probe;
    part.state = file.ReadAt(0, probe) < 0 ? Part::State::kUnreadable : Part::State::kNotFlv;
    return part;
  }
  if (film->Facts().readFailed) return part;
  if (film->Facts().isTooComplex) {
    part.state = Part::State::kTooComplex;
    return part;
  }
  if (film->TagCount() == 0) {
    part.state = Part::State::kNoMedia;
    return part;
  }
  if (time > film->LatestTime()) return PastEnd(std::move(film));
  std::optional<Place> place = Place{};
  if (time > 0) place = HasKeyFrames(*film) ? FindKeyFrame(*film, time) : FindFrame(file, *film, time);
  return place ? MakePart(std::move(film), *place, largestSize) : part;
}

bool Continue(Part& part, std::uint32_t time) {
  const std::uint32_t next = part.layout->TagCount();
  if (next == 0 || next >= part.film->TagCount()) return false;
  auto layout = LayOut(part.film, {next, time}, part.layout->Options().largestSize);
  // The next tag is too large for any view.
  if (layout->TagCount() <= next) return false;
  part.layout = std::move(layout);
  return true;
}

std::vector<std::uint8_t> MakePartMetadata(const Part& part, std::uint32_t duration) {
  // The head of the view: file header, previous-tag size, metadata tag.
  constexpr std::size_t kBodyOffset = flv::kFileHeaderSize + flv::kSizeFieldSize + flv::kTagHeaderSize;
  flv::AmfReader reader(part.film->Head().subspan(kBodyOffset));
  flv::AmfValue name;
  flv::AmfValue values;
  reader.Read(name);
  reader.Read(values);
  for (const char* const place : {"filesize", "datasize", "audiosize", "videosize", "hasKeyframes", "canSeekToEnd"}) {
    values.Remove(place);
  }
  values.Set("duration", duration / 1000.0);
  values.Set("lasttimestamp", duration / 1000.0);
  std::vector<std::uint8_t> body;
  flv::WriteAmf(name, body);
  flv::WriteAmf(values, body);
  return body;
}

std::uint64_t SizeWith(const Part& part, std::size_t metadataSize) {
  const std::uint64_t tags = part.film->TailBegin() - part.film->Head().size();
  return flv::kFileHeaderSize + flv::kSizeFieldSize + flv::kTagHeaderSize + metadataSize + tags + flv::kSizeFieldSize;
}

}  // namespace qbflv::server
