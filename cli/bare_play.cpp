// Plays a file without repair, as a plain host does, and compares the packets with the file's tags.
#include "cli/bare_play.h"

#include <fmt/format.h>

#include <algorithm>
#include <deque>
#include <utility>

#include "cli/interrupt.h"
#include "flv/tag_walker.h"
#include "host/host_error.h"
#include "host/open_file.h"

namespace qbflv::cli {

namespace {

using Json = nlohmann::ordered_json;

/// Matches the packets of one stream with its playable tags. Both are in file order.
class StreamTags {
 public:
  StreamTags(const flv::ByteSource& source, flv::TagType type) : m_walker(source, m_damages), m_type(type) {
    m_isOpen = m_walker.ReadFileHeader();
  }
  StreamTags(const StreamTags&) = delete;
  StreamTags& operator=(const StreamTags&) = delete;

  flv::TagType Type() const { return m_type; }

  /// Records the delivery of a packet. Ignores a packet that matches no tag: the plug-in took other bytes for a tag.
  void OnPacket(std::uint32_t time, std::uint32_t size) {
    for (std::size_t i = 0; i < kMaxLookAhead && (i < m_ahead.size() || ReadTag()); ++i) {
      const flv::Tag& tag = m_ahead[i];
      if (tag.header.time != time || tag.header.size != size) continue;
      for (std::size_t skipped = 0; skipped < i; ++skipped) MarkMissing();
      m_lastDelivered = m_ahead.front();
      m_ahead.pop_front();
      ++m_delivery.delivered;
      if (m_firstMissing) m_isMissingInside = true;
      return;
    }
  }

  /// Marks all further tags as missing.
  void Finish() {
    while (!m_ahead.empty() || ReadTag()) MarkMissing();
  }

  const std::optional<flv::Tag>& LastDelivered() const { return m_lastDelivered; }
  const std::optional<flv::Tag>& FirstMissing() const { return m_firstMissing; }
  /// Returns true if a tag after the first missing one was delivered.
  bool IsMissingInside() const { return m_isMissingInside; }
  std::uint32_t LastTime() const { return m_lastTime; }

  /// Call after Finish. why: the reason for the first missing tag.
  StreamDelivery Result(std::string why) const {
    StreamDelivery result = m_delivery;
    result.type = m_type;
    if (!m_firstMissing) return result;
    result.missingOffset = m_firstMissing->offset;
    result.missingTime = m_firstMissing->header.time;
    result.why = std::move(why);
    return result;
  }

 private:
  /// Maximum number of consecutive missing tags that OnPacket skips to find the packet's tag.
  static constexpr std::size_t kMaxLookAhead = 4096;

  /// Appends the next playable tag of the stream to m_ahead. Returns false at the end of the file.
  bool ReadTag() {
    flv::Tag tag;
    while (m_isOpen && m_walker.Next(tag)) {
      if (!tag.header.Is(m_type) || tag.header.size == 0) continue;
      ++m_delivery.tags;
      m_lastTime = tag.header.time;
      m_ahead.push_back(tag);
      return true;
    }
    m_isOpen = false;
    return false;
  }

  void MarkMissing() {
    if (!m_firstMissing) m_firstMissing = m_ahead.front();
    m_ahead.pop_front();
  }

  flv::DamageList m_damages;
  flv::TagWalker m_walker;
  const flv::TagType m_type;
  bool m_isOpen = false;
  std::deque<flv::Tag> m_ahead;
  StreamDelivery m_delivery;
  std::optional<flv::Tag> m_lastDelivered;
  std::optional<flv::Tag> m_firstMissing;
  bool m_isMissingInside = false;
  std::uint32_t m_lastTime = 0;
};

/// Returns the damage at which the plug-in ended delivery, or null if there is none after the last delivered tag.
const flv::Damage* FindFinalDamage(const flv::FileFacts& facts, std::uint64_t lastDelivered) {
  const auto stops = [&](const flv::Damage& damage) {
    const bool isBetweenTags =
        damage.kind == flv::DamageKind::kGarbage || damage.kind == flv::DamageKind::kEmbeddedHeader;
    return isBetweenTags && damage.offset > lastDelivered;
  };
  const auto found = std::ranges::find_if(facts.damages.Places(), stops);
  return found == facts.damages.Places().end() ? nullptr : &*found;
}

/// Returns the reason why tags of a stream that the plug-in plays are missing. all: all streams, including this one.
std::string WhyMissing(const StreamTags& stream, const std::deque<StreamTags>& all, const flv::FileFacts& facts) {
  if (!stream.FirstMissing()) return {};
  if (stream.IsMissingInside()) return "the plug-in skips some tags";
  std::uint64_t last = 0;
  for (const StreamTags& each : all) last = std::max(last, each.LastDelivered() ? each.LastDelivered()->offset : 0);
  if (const flv::Damage* const damage = FindFinalDamage(facts, last)) {
    return fmt::format("delivery ends at byte {}, where {}", damage->offset,
                       damage->kind == flv::DamageKind::kGarbage ? "bytes belong to no tag" : "another file begins");
  }
  if (stream.LastDelivered() && stream.LastDelivered()->header.time == stream.LastTime()) {
    return "the stream ends at the first packet with the time of its last packet";
  }
  return "at the end of the file the plug-in drops packets that wait for the other stream";
}

void PlayAll(host::Session& session, const std::vector<flv::TagType>& types, std::deque<StreamTags>& streams) {
  std::vector<StreamTags*> byNumber;
  byNumber.reserve(types.size());
  for (const flv::TagType type : types) {
    const auto found = std::ranges::find(streams, type, &StreamTags::Type);
    byNumber.push_back(found == streams.end() ? nullptr : &*found);
  }
  const auto onPacket = [&](IQBPacket& packet) {
    ThrowIfInterrupted();
    const auto buffer = ComPtr<IQBBuffer>::Adopt(packet.GetPacketBuffer());
    StreamTags* const stream = byNumber.at(packet.GetStreamNumber());
    if (stream != nullptr && buffer) stream->OnPacket(packet.GetTime(), buffer->GetSize());
    return true;
  };
  session.ReadPackets({.onPacket = onPacket, .onStreamDone = [](std::uint16_t) { return true; }});
}

host::SeekResult SeekFirst(const host::SessionOptions& options, std::uint32_t time) {
  host::Session session(options);
  session.ReadHeaders();
  return session.Seek(time);
}

std::string_view KindName(flv::TagType type) { return type == flv::TagType::kAudio ? "audio" : "video"; }

}  // namespace

std::uint64_t BarePlay::Tags() const {
  std::uint64_t tags = 0;
  for (const StreamDelivery& stream : streams) tags += stream.tags;
  return tags;
}

std::uint64_t BarePlay::Missing() const {
  std::uint64_t missing = 0;
  for (const StreamDelivery& stream : streams) missing += stream.Missing();
  return missing;
}

BarePlay PlayBare(const host::SessionOptions& options, const flv::FileFacts& facts) {
  const auto source = host::OpenFile(options.file);
  std::deque<StreamTags> streams;
  if (facts.video.IsPresent()) streams.emplace_back(*source, flv::TagType::kVideo);
  if (facts.audio.IsPresent()) streams.emplace_back(*source, flv::TagType::kAudio);
  BarePlay play;
  std::vector<flv::TagType> types;
  try {
    host::Session session(options);
    session.ReadHeaders();
    play.openingReads = session.Counts().reads;
    types = session.StreamTypes();
    PlayAll(session, types, streams);
    const auto length = static_cast<std::uint32_t>(std::max(0, flv::TimeBetween(facts.TimeBase(), facts.latestTime)));
    for (const std::uint32_t time : {length / 2, length}) play.seeks.push_back(SeekFirst(options, time));
  } catch (const host::HostError& error) {
    play.failure = error.what();
  }
  for (StreamTags& stream : streams) stream.Finish();
  for (const StreamTags& stream : streams) {
    const bool isAnnounced = std::ranges::count(types, stream.Type()) > 0;
    const std::string why = !play.failure.empty() ? play.failure
                            : isAnnounced         ? WhyMissing(stream, streams, facts)
                                                  : "the file header does not announce the stream";
    play.streams.push_back(stream.Result(why));
  }
  return play;
}

std::vector<std::string> BarePlayLines(const BarePlay& play) {
  std::vector<std::string> lines{"Played by a plain host, without repair:"};
  for (const StreamDelivery& stream : play.streams) {
    std::string line = fmt::format("  {}       {} of {} packets", KindName(stream.type), stream.delivered, stream.tags);
    if (stream.Missing() > 0) {
      line += fmt::format("; the first missing one is at byte {}, {:.3f} s: {}", stream.missingOffset,
                          stream.missingTime / 1000.0, stream.why);
    }
    lines.push_back(std::move(line));
  }
  if (!play.failure.empty()) {
    if (play.streams.empty()) lines.push_back("  " + play.failure);
    return lines;
  }
  lines.push_back(fmt::format("  opening     {} reads", play.openingReads));
  for (const host::SeekResult& seek : play.seeks) {
    lines.push_back(fmt::format("  first seek  to {:.3f} s: {} reads{}", seek.time / 1000.0, seek.counts.reads,
                                Failed(seek.status) ? ", and it fails" : ""));
  }
  return lines;
}

Json BarePlayAsJson(const BarePlay& play) {
  Json streams = Json::array();
  for (const StreamDelivery& stream : play.streams) {
    Json each{{"stream", KindName(stream.type)}, {"tags", stream.tags}, {"delivered", stream.delivered}};
    if (stream.Missing() > 0) {
      each["first_missing"] = {{"offset", stream.missingOffset}, {"time", stream.missingTime}};
      each["why"] = stream.why;
    }
    streams.push_back(std::move(each));
  }
  Json seeks = Json::array();
  for (const host::SeekResult& seek : play.seeks) {
    seeks.push_back({{"time", seek.time}, {"status", host::StatusHex(seek.status)}, {"reads", seek.counts.reads}});
  }
  Json report{{"streams", std::move(streams)}, {"opening_reads", play.openingReads}, {"seeks", std::move(seeks)}};
  if (!play.failure.empty()) report["failure"] = play.failure;
  return report;
}

}  // namespace qbflv::cli
