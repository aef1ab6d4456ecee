// Reads packets ahead, as a server does, and sends each packet when it is due.
#include "cli/play_delivery.h"

#include <limits>
#include <span>
#include <utility>

#include "cli/output.h"
#include "flv/scan.h"
#include "host/buffer.h"
#include "host/status_text.h"

namespace qbflv::cli {

namespace {

/// Length of the read-ahead, in ms of file time.
constexpr std::int64_t kReadAhead = 2000;
/// Maximum number of packets that one update reads, so that the command also handles keys at a very high speed.
constexpr int kPacketsPerUpdate = 256;
/// A bit rate is measured over the last kRateSpan ms of file time. It is unknown for less than kMinRateSpan.
constexpr std::int64_t kRateSpan = 2000;
constexpr std::int64_t kMinRateSpan = 500;

/// Returns the part of the stream's MIME type before the slash.
std::string Kind(const host::PropertyList& header) {
  const host::Property* const type = header.Find("MimeType");
  if (type == nullptr || type->kind != host::Property::Kind::kText) return "?";
  const std::string_view text = host::BufferText(type->buffer.Get());
  return Printable(text.substr(0, text.find('/')));
}

std::int64_t StatedDuration(const host::PropertyList& header) {
  const host::Property* const duration = header.Find("Duration");
  return duration != nullptr && duration->kind == host::Property::Kind::kNumber ? duration->number : 0;
}

}  // namespace

PlayDelivery::PlayDelivery(host::Session& session, host::RestartFilter filter, double speed, std::uint32_t firstTime,
                           Time now)
    : m_session(session), m_clock(speed, now), m_filter(std::move(filter)), m_firstTime(firstTime) {
  const std::vector<flv::TagType> types = session.StreamTypes();
  for (const host::StreamHeader& header : session.StreamHeaders()) {
    Stream stream;
    stream.type = types[m_streams.size()];
    stream.shown.kind = Kind(*header.properties);
    m_streams.push_back(std::move(stream));
    m_statedDuration = std::max(m_statedDuration, StatedDuration(*header.properties));
  }
}

void PlayDelivery::Update(Time now) {
  Fill(now);
  const auto isDue = [&](std::int64_t time) {
    const std::optional<Time> when = m_clock.TimeOf(time);
    return when && *when <= now;
  };
  while (!m_queue.empty() && isDue(m_queue.front().time)) SendFirst();
  if (m_ended || !m_queue.empty() || !IsReadingDone()) return;
  m_ended = true;
  m_clock.SetPosition(std::min(Position(now), End()), now);
  m_clock.SetRunning(false, now);
}

PlayDelivery::Time PlayDelivery::NextUpdate(Time now, Time latest) const {
  if (!IsReadingDone() && !IsReadAheadFull(now)) return now;
  if (m_queue.empty()) return latest;
  return std::min(latest, m_clock.TimeOf(m_queue.front().time).value_or(latest));
}

host::SeekResult PlayDelivery::SeekTo(std::int64_t position) {
  position = std::clamp<std::int64_t>(position, 0, std::numeric_limits<std::uint32_t>::max());
  m_queue.clear();
  for (Stream& stream : m_streams) {
    stream.shown.queuedPackets = 0;
    stream.sent.clear();
    stream.sentBytes = 0;
  }
  m_sentSince.reset();
  m_ended = false;
  const host::SeekResult result = m_session.Seek(static_cast<std::uint32_t>(position));
  m_filter.Restart(result.offset);
  m_seekFailed = Failed(result.status);
  m_error = m_seekFailed ? "the seek failed: " + host::StatusText(result.status) : std::string();
  const Time now = Time::clock::now();
  m_clock.SetPosition(position, now);
  m_clock.SetRunning(!m_paused, now);
  return result;
}

void PlayDelivery::SetPaused(bool paused, Time now) {
  m_paused = paused;
  m_clock.SetRunning(!m_paused && !m_ended, now);
}

PlayState PlayDelivery::State(Time now) const {
  PlayState state;
  state.condition = m_ended    ? PlayState::Condition::kEnded
                    : m_paused ? PlayState::Condition::kPaused
                               : PlayState::Condition::kPlaying;
  state.speed = m_clock.Speed();
  state.position = Position(now);
  state.duration = End();
  state.error = m_error;
  for (const Stream& stream : m_streams) state.streams.push_back(StreamState(stream, state.position));
  return state;
}

PlayedStream PlayDelivery::StreamState(const Stream& stream, std::int64_t position) const {
  PlayedStream shown = stream.shown;
  if (shown.queuedPackets > 0) shown.queuedTime = std::max<std::int64_t>(stream.lastQueued - position, 0);
  const std::int64_t span = m_sentSince ? std::min(position - *m_sentSince, kRateSpan) : 0;
  if (span >= kMinRateSpan) shown.bitRate = stream.sentBytes * 8000 / static_cast<std::uint64_t>(span);
  return shown;
}

void PlayDelivery::Fill(Time now) {
  int packets = kPacketsPerUpdate;
  const auto wantsMore = [&] { return packets > 0 && !IsReadAheadFull(now); };
  if (IsReadingDone() || !wantsMore()) return;
  host::PacketHandlers handlers;
  handlers.onPacket = [&](IQBPacket& packet) {
    m_filter.Process(packet, [&](IQBPacket& playable) { Queue(playable); });
    --packets;
    return wantsMore();
  };
  handlers.onStreamDone = [](std::uint16_t) { return true; };
  m_session.ReadPackets(std::move(handlers));
}

void PlayDelivery::Queue(IQBPacket& packet) {
  const std::int64_t time = flv::TimeBetween(m_firstTime, packet.GetTime());
  Stream& stream = m_streams[packet.GetStreamNumber()];
  ++stream.shown.queuedPackets;
  stream.lastQueued = time;
  m_lastSeen = std::max(m_lastSeen, time);
  m_queue.push_back({ComPtr<IQBPacket>::Retain(&packet), time});
}

bool PlayDelivery::IsReadAheadFull(Time now) const {
  return !m_queue.empty() && m_queue.back().time - Position(now) >= kReadAhead;
}

/// Sending means releasing the packet: there is no network.
void PlayDelivery::SendFirst() {
  const QueuedPacket first = std::move(m_queue.front());
  m_queue.pop_front();
  const auto buffer = ComPtr<IQBBuffer>::Adopt(first.packet->GetPacketBuffer());
  const std::span<const std::uint8_t> body = host::BufferBytes(buffer.Get());
  if (!m_sentSince) m_sentSince = first.time;

  Stream& stream = m_streams[first.packet->GetStreamNumber()];
  --stream.shown.queuedPackets;
  ++stream.shown.packets;
  const flv::TagContent content = flv::ContentOf(static_cast<std::uint8_t>(stream.type), body);
  if (content == flv::TagContent::kKeyFrame) ++stream.shown.keyFrames;
  stream.sent.push_back({first.time, body.size()});
  stream.sentBytes += body.size();
  for (; stream.sent.front().time <= first.time - kRateSpan; stream.sent.pop_front()) {
    stream.sentBytes -= stream.sent.front().bytes;
  }
}

}  // namespace qbflv::cli
