// The layout of a repaired file: how it is composed of new bytes and bytes of the original file.
#include "flv/view_layout.h"

#include <algorithm>
#include <iterator>
#include <utility>

#include "flv/format.h"
#include "flv/metadata.h"

namespace qbflv::flv {

namespace {

/// Time from the latest tag to the closing tags, in ms. Longer than readers wait for a late stream.
constexpr std::uint32_t kClosingDistance = 20000;
/// Last bytes of a closing tag's body. They identify it, since other tags may have the same timestamp.
constexpr std::uint8_t kClosingMark[] = {'q', 'b', '-', 'e', 'n', 'd'};
/// Frame type 2, an inter frame, so that no reader starts here.
constexpr std::uint8_t kInterFrame = 0x20;

double Seconds(std::uint32_t time) { return time / 1000.0; }

void Append(std::vector<std::uint8_t>& bytes, std::span<const std::uint8_t> more) {
  bytes.insert(bytes.end(), more.begin(), more.end());
}

void AppendSizeField(std::vector<std::uint8_t>& bytes, std::uint32_t size) {
  std::uint8_t field[kSizeFieldSize];
  WriteNumber<4>(field, size);
  Append(bytes, field);
}

}  // namespace

ViewLayout::ViewLayout(std::shared_ptr<const FileFacts> facts, const ViewOptions& options)
    : m_facts(std::move(facts)), m_options(options) {
  if (m_options.rebase) m_rebase = m_facts->FirstFrameTime();
  const Piece beginning{0, 0, 0, 0, 0, 0, 0U - m_rebase, false};
  m_timeBase = TimeIn(beginning, m_facts->TimeBase());
  m_latestTime = (m_options.retime ? m_facts->latestContinuedTime : m_facts->latestTime) - m_rebase;
  // Make the head twice: its size, which does not depend on the positions in it, determines where the pieces begin.
  MakeHead(false);
  PlacePieces(m_head.size());
  MakeHead(true);
}

void ViewLayout::PlacePieces(std::uint64_t begin) {
  m_tailBegin = begin;
  const std::vector<Continuation>& continuations = m_facts->continuations;
  std::size_t next = 0;
  std::uint32_t shift = 0U - m_rebase;
  bool fits = true;
  for (std::size_t run = 0; run < m_facts->runs.size() && fits; ++run) {
    const std::uint32_t end = m_facts->EndOfRun(run);
    for (std::uint32_t tag = std::max(m_facts->runs[run].firstTag, m_options.firstTag); tag < end && fits;) {
      std::uint32_t pieceEnd = end;
      if (m_options.retime) {
        for (; next < continuations.size() && continuations[next].firstTag <= tag; ++next) {
          shift = continuations[next].shift - m_rebase;
        }
        if (next < continuations.size()) pieceEnd = std::min(end, continuations[next].firstTag);
      }
      fits = AddPiece(run, tag, pieceEnd, shift);
      tag = pieceEnd;
    }
  }
  m_pieces.shrink_to_fit();
  AddTail();
}

/// Returns false if some of the tags do not fit into the maximum size.
bool ViewLayout::AddPiece(std::size_t run, std::uint32_t firstTag, std::uint32_t endTag, std::uint32_t shift) {
  const Run& tags = m_facts->runs[run];
  const std::vector<std::uint32_t>& offsets = m_facts->tagOffsets;
  const auto endOffset = [&](std::uint32_t end) {
    return end == m_facts->EndOfRun(run) ? tags.size : offsets[end] - std::uint64_t{kSizeFieldSize};
  };
  // Room for the closing tags and the last previous-tag size.
  constexpr std::uint64_t kTailRoom = 128;
  const std::uint64_t begin = offsets[firstTag];
  const auto fits = [&](std::uint32_t end) {
    return m_tailBegin + kSizeFieldSize + endOffset(end) - begin + kTailRoom <= m_options.largestSize;
  };
  const std::uint32_t wantedEnd = endTag;
  if (!fits(endTag)) {
    std::uint32_t low = firstTag;  // becomes the last end that fits
    while (low + 1 < endTag) {
      const std::uint32_t middle = low + (endTag - low) / 2;
      (fits(middle) ? low : endTag) = middle;
    }
    endTag = low;
  }
  if (endTag == firstTag) return false;
  const std::uint64_t size = endOffset(endTag) - begin;
  m_pieces.push_back({m_tailBegin, tags.offset + begin, size, firstTag, endTag, m_lastTagSize, shift,
                      shift != 0 || tags.hasWrongSizes});
  m_tailBegin += kSizeFieldSize + size;
  m_lastTagSize = static_cast<std::uint32_t>(endOffset(endTag) - offsets[endTag - 1]);
  return endTag == wantedEnd;
}

void ViewLayout::MakeHead(bool withPlaces) {
  m_head = MakeFileStart(m_facts->audio.IsPresent(), m_facts->video.IsPresent(), MakeViewMetadata(withPlaces));
  // Remove the last previous-tag size: the first piece, or the tail, begins with it.
  m_head.resize(m_head.size() - kSizeFieldSize);
  m_lastTagSize = static_cast<std::uint32_t>(m_head.size()) - kFileHeaderSize - kSizeFieldSize;
  AddConfigurations();
}

void ViewLayout::AddConfigurations() {
  m_headConfigurations = 0;
  if (m_options.firstTag == 0) return;
  for (const TagType type : {TagType::kVideo, TagType::kAudio}) {
    const std::vector<std::uint8_t>* const body = m_facts->ConfigurationBefore(m_options.firstTag, type);
    if (body == nullptr) continue;
    AppendSizeField(m_head, m_lastTagSize);
    std::uint8_t header[kTagHeaderSize];
    WriteTagHeader(header, type, static_cast<std::uint32_t>(body->size()), m_options.firstTime);
    Append(m_head, header);
    Append(m_head, *body);
    ++m_headConfigurations;
    m_lastTagSize = kTagHeaderSize + static_cast<std::uint32_t>(body->size());
  }
}

void ViewLayout::AddTail() {
  if (m_facts->audio.IsPresent()) AddClosingTag(static_cast<std::uint8_t>(TagType::kAudio), m_facts->audio.firstByte);
  if (m_facts->video.IsPresent()) AddClosingTag(static_cast<std::uint8_t>(TagType::kVideo), m_facts->video.firstByte);
  AppendSizeField(m_tail, m_lastTagSize);
}

void ViewLayout::AddClosingTag(std::uint8_t type, std::uint8_t firstByte) {
  AppendSizeField(m_tail, m_lastTagSize);
  const bool isVideo = type == static_cast<std::uint8_t>(TagType::kVideo);
  std::vector<std::uint8_t> body = {isVideo ? static_cast<std::uint8_t>(kInterFrame | (firstByte & 0x0F)) : firstByte};
  // The packet type of AVC and AAC frames, and the composition time of AVC.
  constexpr std::uint8_t kPacketStart[] = {1, 0, 0, 0};
  Append(body, kPacketStart);
  Append(body, kClosingMark);
  std::uint8_t header[kTagHeaderSize];
  WriteTagHeader(header, static_cast<TagType>(type), static_cast<std::uint32_t>(body.size()), ClosingTime());
  Append(m_tail, header);
  Append(m_tail, body);
  m_lastTagSize = kTagHeaderSize + static_cast<std::uint32_t>(body.size());
}

std::uint32_t ViewLayout::ClosingTime() const { return m_latestTime + kClosingDistance; }

bool ViewLayout::IsClosing(std::uint32_t time, std::span<const std::uint8_t> body) const {
  constexpr std::size_t kSize = 5 + std::size(kClosingMark);
  return time == ClosingTime() && body.size() == kSize &&
         std::ranges::equal(body.last(std::size(kClosingMark)), kClosingMark);
}

std::uint32_t ViewLayout::TagAt(std::uint64_t offset) const {
  const auto next = std::ranges::upper_bound(m_pieces, offset, {}, &Piece::begin);
  if (next == m_pieces.begin()) return 0;
  const Piece& piece = *(next - 1);
  const std::uint64_t inPiece = offset - piece.begin;
  if (inPiece <= kSizeFieldSize) return piece.firstTag;
  return std::min(m_facts->TagAt(piece.source + inPiece - kSizeFieldSize), piece.endTag);
}

const ViewLayout::Piece& ViewLayout::PieceOf(std::uint32_t tag) const {
  return *(std::ranges::upper_bound(m_pieces, tag, {}, &Piece::firstTag) - 1);
}

/// With rebase, clamps to 0: in many files the codec configurations at the start have the timestamp 0 although the
/// frames begin later.
std::uint32_t ViewLayout::TimeIn(const Piece& piece, std::uint32_t time) const {
  const std::uint32_t moved = time + piece.shift;
  return m_options.rebase && TimeBetween(0, moved) < 0 ? 0 : moved;
}

std::vector<std::uint8_t> ViewLayout::MakeViewMetadata(bool withPlaces) const {
  const FileFacts& facts = *m_facts;
  MetadataValues values;
  const std::vector<KeyPosition>& keys = facts.keyPositions;
  // Only every stride-th key position is listed.
  const std::size_t stride =
      m_options.mostKeyFrames == 0 ? keys.size() + 1 : keys.size() / (m_options.mostKeyFrames + std::size_t{1}) + 1;
  auto piece = m_pieces.begin();
  for (std::size_t i = 0; i < keys.size() && m_options.mostKeyFrames > 0; i += stride) {
    const KeyPosition& key = keys[i];
    while (piece != m_pieces.end() && piece->endTag <= key.tag) ++piece;
    const bool isPlaced = withPlaces && piece != m_pieces.end();
    // Key positions that do not fit into the view repeat the last entry, so that the metadata keeps its size.
    const double lastTime = values.keyTimes.empty() ? 0 : values.keyTimes.back();
    const double lastPosition = values.keyPositions.empty() ? 0 : values.keyPositions.back();
    const std::int32_t time = isPlaced ? TimeBetween(m_timeBase, TimeIn(*piece, key.time)) : 0;
    values.keyTimes.push_back(isPlaced ? Seconds(static_cast<std::uint32_t>(std::max(time, 0))) : lastTime);
    values.keyPositions.push_back(
        isPlaced ? static_cast<double>(piece->begin + kSizeFieldSize + facts.TagOffset(key.tag) - piece->source)
                 : lastPosition);
  }
  const std::uint32_t last = m_latestTime - m_timeBase;
  const std::uint32_t distance = std::max(facts.audio.lastDistance, facts.video.lastDistance);
  values.hasAudio = facts.audio.IsPresent();
  values.hasVideo = facts.video.IsPresent();
  values.duration = Seconds(last + distance);
  values.lastTime = Seconds(last);
  values.fileSize = withPlaces ? Size() : 0;
  values.audioSize = facts.audio.bytes + facts.audio.tags * kTagHeaderSize;
  values.videoSize = facts.video.bytes + facts.video.tags * kTagHeaderSize;
  return MakeMetadata(facts, values);
}

std::size_t ViewLayout::MemoryUse() const {
  return sizeof(*this) + m_facts->MemoryUse() + m_head.capacity() + m_tail.capacity() +
         m_pieces.capacity() * sizeof(Piece);
}

}  // namespace qbflv::flv
