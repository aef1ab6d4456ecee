#include "tests/support/seek_model.h"

#include <algorithm>

namespace qbflv::test {

namespace {

constexpr std::uint32_t kScanRead = 16;
constexpr std::uint32_t kHeaderRead = 15;

std::string SeekTo(std::uint64_t offset) { return "Seek(" + std::to_string(offset) + ")"; }

}  // namespace

SeekModel::SeekModel(const Bytes& file, const ModelSettings& settings)
    : m_file(file), m_settings(settings), m_firstTag(file[8]) {
  m_index.resize(settings.flags == kBoth ? 2 : 1);
  FindEnds();
  SizeIndex();
  if ((settings.flags & kVideo) == 0) return;
  for (const auto& [time, position] : settings.keyFrames) {
    Offer(*StreamOf(kVideoTag),
          {static_cast<std::uint32_t>(time * 1000.0), static_cast<std::uint32_t>(position - 4.0)});
  }
}

std::optional<SeekModel::Tag> SeekModel::TagAt(std::uint64_t offset, std::uint64_t bytes) const {
  if (offset + bytes > m_file.size()) return std::nullopt;
  const std::uint8_t* const at = m_file.data() + offset + 4;
  Tag tag{.type = at[0], .size = static_cast<std::uint32_t>(at[1] << 16 | at[2] << 8 | at[3])};
  tag.time = static_cast<std::uint32_t>(at[4] << 16 | at[5] << 8 | at[6]) | std::uint32_t{at[7]} << 24;
  if (offset + kScanRead <= m_file.size()) tag.firstByte = at[11];
  return tag;
}

std::optional<std::size_t> SeekModel::StreamOf(std::uint8_t type) const {
  if (type == kAudioTag && (m_settings.flags & kAudio) != 0) return 0;
  if (type == kVideoTag && (m_settings.flags & kVideo) != 0) return m_settings.flags == kBoth ? 1 : 0;
  return std::nullopt;
}

/// The first and the last tags of each stream, of those that lie one behind the other.
void SeekModel::FindEnds() {
  std::vector<std::pair<std::size_t, std::uint32_t>> times;
  for (std::uint64_t offset = m_firstTag; const auto tag = TagAt(offset, kHeaderRead);) {
    if (const auto stream = StreamOf(tag->type)) times.emplace_back(*stream, tag->time);
    offset += kHeaderRead + tag->size;
  }
  std::array<std::optional<std::uint32_t>, 2> first;
  for (const auto& [stream, time] : times) {
    if (!first[stream]) first[stream] = time;
  }
  m_timeBase = std::min(first[0].value_or(UINT32_MAX), first[1].value_or(UINT32_MAX));
  std::reverse(times.begin(), times.end());
  for (const auto& [stream, time] : times) {
    if (m_lastTimes[stream].size() < 2) m_lastTimes[stream].push_back(time - m_timeBase);
  }
}

void SeekModel::SizeIndex() {
  std::uint32_t duration = 3600000;
  if (m_settings.knowsEnd) {
    duration = 0;
    if (const auto audio = StreamOf(kAudioTag)) duration = 2 * m_lastTimes[*audio][0] - m_lastTimes[*audio][1];
    if (const auto video = StreamOf(kVideoTag)) duration = std::max(duration, m_lastTimes[*video][0]);
  }
  m_granularity = std::min<std::uint32_t>(duration / 2048, 15000);
  m_capacity = 2048;
  if (m_granularity < 50) {
    m_granularity = 50;
    m_capacity = std::max<std::uint32_t>(duration / 50, 32);
  }
}

void SeekModel::Offer(std::size_t stream, const Position& position) {
  std::vector<Position>& kept = m_index[stream];
  if (kept.size() >= m_capacity) return;
  if (!kept.empty() && (position.time <= kept.back().time || position.time - kept.back().time < m_granularity)) return;
  kept.push_back(position);
}

const SeekModel::Position* SeekModel::Lookup(std::size_t stream, std::uint32_t time) const {
  const Position* found = nullptr;
  for (const Position& position : m_index[stream]) {
    if (position.time <= time) found = &position;
  }
  return found;
}

void SeekModel::NoteDelivered(std::uint64_t offset) {
  const auto tag = TagAt(offset, kScanRead);
  const auto stream = tag ? StreamOf(tag->type) : std::nullopt;
  const bool isKey = tag && (tag->type == kAudioTag || tag->firstByte >> 4 == 1);
  if (stream && isKey) Offer(*stream, {tag->time - m_timeBase, static_cast<std::uint32_t>(offset)});
}

ModelSeek SeekModel::Seek(std::uint32_t time) {
  // Where each stream would restart: what is known, then what the scan finds.
  std::vector<std::optional<Position>> restart(m_index.size());
  std::uint32_t until = time;
  std::optional<Position> start;
  for (std::size_t stream = 0; stream < m_index.size(); ++stream) {
    const Position* const known = Lookup(stream, time);
    if (known == nullptr) continue;
    restart[stream] = *known;
    start = {std::max(start.value_or(Position()).time, known->time),
             std::max(start.value_or(Position()).offset, known->offset)};
  }
  const bool moves = m_settings.units > 0 && (start || m_settings.thumbnailStart);
  if (!start) start = {moves ? 0 : time, m_firstTag};
  if (moves) {
    until = start->time;
    if (const auto video = StreamOf(kVideoTag)) restart[*video] = *start;
  }

  ModelSeek seek;
  std::uint64_t offset = start->offset;
  for (;;) {
    seek.operations.push_back(SeekTo(offset));
    seek.operations.push_back("Read(16)");
    const auto tag = TagAt(offset, kScanRead);
    if (!tag) {
      seek.failed = m_settings.failsAtEnd && offset >= m_file.size();
      seek.position = std::max<std::uint64_t>(offset, m_file.size());
      return seek;
    }
    if (tag->type == kAudioTag || tag->type == kVideoTag) {
      const std::uint32_t relative = tag->time - m_timeBase;
      if (relative >= until) break;
      const bool isKey = tag->type == kAudioTag || tag->firstByte >> 4 == 1;
      const Position here{relative, static_cast<std::uint32_t>(offset)};
      const auto stream = StreamOf(tag->type);
      if (stream && isKey && (!restart[*stream] || relative > restart[*stream]->time)) {
        restart[*stream] = here;
        Offer(*stream, here);
      }
    }
    offset += kHeaderRead + tag->size;
  }
  seek.position = offset;
  bool found = false;
  for (const auto& position : restart) {
    if (!position) continue;
    seek.position = found ? std::min<std::uint64_t>(seek.position, position->offset) : position->offset;
    found = true;
  }
  seek.operations.push_back(SeekTo(seek.position));
  return seek;
}

std::vector<SeekModel::Rest> SeekModel::DeliveryFrom(std::uint64_t position) const {
  std::vector<Rest> rests(m_index.size());
  while (const auto tag = TagAt(position, kHeaderRead)) {
    position += kHeaderRead + tag->size;
    if (position > m_file.size()) break;
    const auto stream = StreamOf(tag->type);
    if (!stream || tag->size == 0 || !rests[*stream].reachesEnd) continue;
    Rest& rest = rests[*stream];
    rest.packets.push_back({tag->time, tag->size});
    const bool isLast = m_settings.knowsEnd && tag->time == m_lastTimes[*stream][0];
    if (isLast || (m_settings.units > 0 && rest.packets.size() >= m_settings.units)) rest.reachesEnd = false;
  }
  return rests;
}

}  // namespace qbflv::test
