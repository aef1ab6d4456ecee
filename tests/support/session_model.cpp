#include "tests/support/session_model.h"

#include <fmt/format.h>

#include <algorithm>
#include <cstdlib>
#include <limits>

namespace qbflv::test {

namespace {

constexpr std::uint32_t kHeader = 15;
constexpr std::uint32_t kHeaderAndByte = 16;

std::string SeekTo(std::uint64_t offset) { return fmt::format("Seek({})", offset); }
std::string Read(std::uint32_t count) { return fmt::format("Read({})", count); }

/// From one time to another, across the wrap of 32 bits.
std::int32_t Span(std::uint32_t from, std::uint32_t to) { return static_cast<std::int32_t>(to - from); }

}  // namespace

SessionModel::SessionModel(const RandomCase& c, const FlvBuilder& flv)
    : m_case(c), m_fileSize(flv.Size() - (c.closed ? 0 : 4)), m_streams(c.flags == kBoth ? 2 : 1) {
  std::optional<std::uint32_t> first[2];
  m_tags.push_back({{.type = kScriptTag}});
  for (const RandomTag& tag : c.tags) m_tags.push_back({tag});
  for (std::size_t i = 0; i < m_tags.size(); ++i) {
    Tag& made = m_tags[i];
    made.isAnnounced = made.IsMedia() && (c.flags & (made.type == kAudioTag ? kAudio : kVideo)) != 0;
    made.isKey = made.type == kAudioTag || (made.type == kVideoTag && made.key);
    made.stream = made.type == kVideoTag && c.flags == kBoth ? 1 : 0;
    made.offset = flv.Field(i);
    made.next = flv.Field(i + 1);
    if (made.isAnnounced && !first[made.stream]) first[made.stream] = made.time;
  }
  const std::uint32_t base = std::min(*first[0], first[1].value_or(*first[0]));
  for (Tag& tag : m_tags) tag.relative = tag.time - base;
  ReadAhead(flv);
}

/// The end of the file tells how long it is, the length tells how dense the index is, and the metadata fills it.
void SessionModel::ReadAhead(const FlvBuilder& flv) {
  std::vector<std::uint32_t> audio, video;
  for (const Tag& tag : m_tags) {
    if (tag.isAnnounced) (tag.type == kAudioTag ? audio : video).push_back(tag.relative);
  }
  std::optional<std::uint32_t> duration;
  if (m_case.HasTailScan()) {
    if (!audio.empty()) m_lastAudio = audio.back();
    if (!video.empty()) m_lastVideo = duration = video.back();
    if (audio.size() > 1) {
      // The last packet lasts as long as the one before it did.
      const std::uint32_t end = audio.back() + (audio.back() - audio[audio.size() - 2]);
      duration = std::max(duration.value_or(0), end);
    }
  }
  if (!duration && m_case.durationInSeconds) duration = *m_case.durationInSeconds * 1000;
  const std::uint32_t length = duration.value_or(3600000);
  m_granularity = std::min<std::uint32_t>(length / 2048, 15000);
  m_capacity = 2048;
  if (m_granularity < 50) {
    m_granularity = 50;
    m_capacity = std::max<std::uint32_t>(length / 50, 32);
  }

  std::uint32_t interval = 0;
  if (m_case.keyFrames && (m_case.flags & kVideo) != 0) {
    std::optional<std::uint32_t> previous;
    const auto note = [&](std::uint32_t time) {
      if (previous && time > *previous) interval = std::max(interval, time - *previous);
      previous = time;
    };
    for (const ListedKeyFrame& each : *m_case.keyFrames) {
      const auto time = static_cast<std::uint32_t>(each.time / 1000.0 * 1000.0);
      Keep(m_streams.size() - 1, {time, each.tag < m_case.tags.size() ? flv.Field(each.tag + 1) : flv.Size() + 96});
      note(time);
    }
    if (m_lastVideo) note(*m_lastVideo);
  }
  if (interval > 10000) m_maxSpan = static_cast<std::int32_t>(std::min<std::uint64_t>(interval + 1000ULL, 30000));
  if (!m_case.maxTimespan.empty()) m_maxSpan = std::atoi(m_case.maxTimespan.c_str());
}

const SessionModel::Tag* SessionModel::TagAt(std::uint64_t offset) const {
  const auto found = std::find_if(m_tags.begin(), m_tags.end(), [&](const Tag& tag) { return tag.offset == offset; });
  return found == m_tags.end() ? nullptr : &*found;
}

void SessionModel::Keep(std::size_t stream, const Position& position) {
  std::vector<Position>& known = m_streams[stream].known;
  if (known.size() == m_capacity) return;
  if (!known.empty() && position.time < std::uint64_t{known.back().time} + m_granularity) return;
  known.push_back(position);
}

const SessionModel::Position* SessionModel::Latest(std::size_t stream, std::uint32_t time) const {
  const Position* latest = nullptr;
  for (const Position& each : m_streams[stream].known) {
    if (each.time <= time) latest = &each;
  }
  return latest;
}

void SessionModel::Seek(std::uint32_t time) {
  m_isReading = false;
  bool isAnyKnown = false;
  Position start;
  for (std::size_t i = 0; i < m_streams.size(); ++i) {
    Stream fresh;
    fresh.known = std::move(m_streams[i].known);
    m_streams[i] = std::move(fresh);
    const Position* const latest = Latest(i, time);
    if (latest == nullptr) continue;
    isAnyKnown = true;
    m_streams[i].restart = *latest;
    start = {std::max(start.time, latest->time), std::max(start.offset, latest->offset)};
  }
  if (!isAnyKnown) start = {0, m_tags.front().offset};
  // Who wants few packets gets those of the position that is known, or of the file's start.
  if (m_case.processTimeUnits != 0 && (isAnyKnown || m_case.disableThumbnails == "0")) {
    time = start.time;
    if ((m_case.flags & kVideo) != 0) m_streams.back().restart = start;
  }

  std::uint64_t offset = start.offset;
  for (;;) {
    Issue(SeekTo(offset));
    if (!IsCompleted()) return;
    Issue(Read(kHeaderAndByte));
    if (!IsCompleted()) return;
    const Tag* const tag = TagAt(offset);
    if (tag == nullptr || offset + kHeaderAndByte > m_fileSize) {
      m_position = m_fileSize;
      const bool fails = m_case.file.failsAtEnd && offset >= m_fileSize;
      return Issue("SeekDone " + Hex(fails ? kFailed : kOk));
    }
    if (tag->IsMedia()) {
      if (tag->relative >= time) break;
      std::optional<Position>& restart = m_streams[tag->stream].restart;
      if (tag->isAnnounced && tag->isKey && (!restart || tag->relative > restart->time)) {
        restart = {tag->relative, tag->offset};
        Keep(tag->stream, *restart);
      }
    }
    offset = tag->next;
  }
  std::optional<std::uint64_t> earliest;
  for (const Stream& stream : m_streams) {
    if (stream.restart) earliest = std::min<std::uint64_t>(earliest.value_or(offset), stream.restart->offset);
  }
  m_position = earliest.value_or(offset);
  Issue(SeekTo(m_position));
  if (IsCompleted()) Issue("SeekDone " + Hex(kOk));
}

void SessionModel::Play(bool later) {
  for (std::size_t i = 0; i < m_streams.size(); ++i) {
    Stream& stream = m_streams[i];
    if (stream.asked || stream.done) {
      Issue(fmt::format("refused s={}", i));
      continue;
    }
    stream.asked = true;
    if (!m_isReading) {
      if (!DeliverPackets()) continue;
      if (NextToRelease() != nullptr) continue;
      m_isReading = true;
      Issue(Read(kHeader));
    }
    if (!later) ReadOn();
  }
  if (m_isReading) ReadOn();
}

/// Goes on from the read of a tag's header.
void SessionModel::ReadOn() {
  for (;;) {
    if (!IsCompleted()) return;
    const Tag* const tag = TagAt(m_position);
    if (tag == nullptr || m_position + kHeader > m_fileSize) return EndAll();
    const bool hasPacket = tag->isAnnounced && tag->size > 0;
    if (!tag->IsMedia()) {
      Issue(SeekTo(tag->next));
      if (!IsCompleted()) return;
    } else if (tag->size > 0) {
      Issue(Read(tag->size));
      if (!IsCompleted()) return;
      if (hasPacket && tag->isKey) Keep(tag->stream, {tag->relative, tag->offset});
      if (hasPacket) Queue(*tag);
    }
    m_position = tag->next;
    if (hasPacket) {
      m_isReading = false;
      if (!DeliverPackets()) return;
      const auto isContent = [](const Stream& stream) { return stream.asked || stream.done; };
      if (!std::all_of(m_streams.begin(), m_streams.end(), isContent)) return;
      m_isReading = true;
    }
    Issue(Read(kHeader));
  }
}

void SessionModel::Queue(const Tag& tag) {
  Stream& stream = m_streams[tag.stream];
  if (stream.ended) return;
  stream.queue.push_back(&tag);
  ++stream.units;
  const bool isLast = (tag.type == kAudioTag ? m_lastAudio : m_lastVideo) == tag.relative;
  stream.ended = isLast || (m_case.processTimeUnits != 0 && stream.units >= m_case.processTimeUnits);
}

/// The stream with the earliest packet, unless a packet of another may still be earlier.
SessionModel::Stream* SessionModel::NextToRelease() {
  Stream* next = nullptr;
  std::optional<std::uint32_t> latest;
  bool mayComeEarlier = false;
  for (Stream& stream : m_streams) {
    if (stream.queue.empty()) {
      mayComeEarlier = mayComeEarlier || !stream.ended;
      continue;
    }
    if (next == nullptr || Span(next->queue.front()->time, stream.queue.front()->time) < 0) next = &stream;
    const std::uint32_t last = stream.queue.back()->time;
    if (!latest || Span(*latest, last) > 0) latest = last;
  }
  if (next == nullptr || !mayComeEarlier) return next;
  return Span(next->queue.front()->time, *latest) > m_maxSpan ? next : nullptr;
}

bool SessionModel::DeliverPackets() {
  while (Stream* const stream = NextToRelease()) {
    if (!stream->asked) return true;
    const Tag& tag = *stream->queue.front();
    stream->queue.pop_front();
    stream->asked = false;
    Issue(fmt::format("PacketReady s={} t={} size={} flags={} rule={}", tag.stream, tag.time, tag.size,
                      tag.isKey ? 3 : 2, tag.isKey ? 0 : 1));
    ++m_packets;
    if (m_request.then == RandomRequest::Then::kSeekInsidePacket && m_packets == m_request.after) {
      m_request.packets = 0;
      Seek(m_request.thenTime);
      return false;
    }
    if (m_packets < m_request.packets) stream->asked = true;
    if (stream->ended && stream->queue.empty()) {
      stream->done = true;
      stream->asked = false;
      Issue(fmt::format("StreamDone s={}", tag.stream));
    }
  }
  return true;
}

void SessionModel::EndAll() {
  m_isReading = false;
  for (std::size_t i = 0; i < m_streams.size(); ++i) {
    m_streams[i].ended = true;
    if (!m_streams[i].done) Issue(fmt::format("StreamDone s={}", i));
    m_streams[i].done = true;
  }
}

CallLog::Lines SessionModel::Perform(const RandomRequest& request) {
  constexpr std::int64_t kAll = std::numeric_limits<std::int64_t>::max();
  m_request = request;
  m_packets = 0;
  m_lines.clear();
  const bool isSuperseded = request.then == RandomRequest::Then::kSeekAfterCompletions;
  const bool stops = isSuperseded && m_case.file.completes == Completes::kLater;
  m_completionsLeft = stops ? request.after : kAll;
  request.kind == RandomRequest::Kind::kSeek ? Seek(request.time) : Play(stops);
  m_completionsLeft = kAll;
  if (isSuperseded) Seek(request.thenTime);
  return m_lines;
}

}  // namespace qbflv::test
