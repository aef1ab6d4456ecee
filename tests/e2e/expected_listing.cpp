// What `qbflv packets --json` has to print for a file, worked out from the file's tags alone.
#include "tests/e2e/expected_listing.h"

#include <fmt/format.h>

#include <algorithm>
#include <deque>

namespace qbflv::e2e {

namespace {

struct Stream {
  int number = 0;
  std::uint32_t lastTime = 0;
  std::deque<const Tag*> waiting;
  /// No further packet is taken in, and done once those that wait are out.
  bool ended = false;
  bool done = false;
};

class Listing {
 public:
  Listing(const FlvFile& file, bool lastTimesKnown) : m_file(file), m_lastTimesKnown(lastTimesKnown) {
    m_streams.resize(file.hasAudio && file.hasVideo ? 2 : 1);
    for (std::size_t i = 0; i < m_streams.size(); ++i) m_streams[i].number = static_cast<int>(i);
    for (const Tag& tag : file.tags) {
      if (tag.IsMedia()) StreamOf(tag).lastTime = tag.time;
    }
  }

  void Take(const Tag& tag) {
    Stream& stream = StreamOf(tag);
    if (stream.ended) return;
    stream.waiting.push_back(&tag);
    stream.ended = m_lastTimesKnown && tag.time == stream.lastTime;
    while (Stream* const next = Releasable()) Release(*next);
  }

  std::vector<std::string> End() {
    for (Stream& stream : m_streams) {
      if (!stream.done) FinishStream(stream);
    }
    return std::move(m_lines);
  }

 private:
  Stream& StreamOf(const Tag& tag) { return m_streams[static_cast<std::size_t>(m_file.StreamOf(tag))]; }

  Stream* Releasable() {
    Stream* earliest = nullptr;
    for (Stream& stream : m_streams) {
      if (stream.waiting.empty()) {
        if (!stream.ended) return nullptr;
        continue;
      }
      if (earliest == nullptr || stream.waiting[0]->time < earliest->waiting[0]->time) earliest = &stream;
    }
    return earliest;
  }

  void Release(Stream& stream) {
    m_lines.push_back(PacketLine(m_file, *stream.waiting[0]));
    stream.waiting.pop_front();
    if (stream.ended && stream.waiting.empty()) FinishStream(stream);
  }

  void FinishStream(Stream& stream) {
    stream.done = true;
    m_lines.push_back(fmt::format(R"({{"stream":{},"done":true}})", stream.number));
  }

  const FlvFile& m_file;
  const bool m_lastTimesKnown;
  std::vector<Stream> m_streams;
  std::vector<std::string> m_lines;
};

}  // namespace

std::string PacketLine(const FlvFile& file, const Tag& tag) {
  const bool startsAnew = tag.type == kAudioTag || tag.IsKeyFrame();
  return fmt::format(R"({{"stream":{},"time":{},"size":{},"asm_flags":{},"asm_rule":{},"crc32":"{:08x}"}})",
                     file.StreamOf(tag), tag.time, tag.body.size(), startsAnew ? 3 : 2, startsAnew ? 0 : 1,
                     tag.Checksum());
}

std::vector<std::string> ExpectedListing(const FlvFile& file, bool lastTimesKnown) {
  Listing listing(file, lastTimesKnown);
  for (const Tag& tag : file.tags) {
    if (tag.IsMedia() && !tag.body.empty()) listing.Take(tag);
  }
  return listing.End();
}

}  // namespace qbflv::e2e
