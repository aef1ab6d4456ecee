// What playing and seeking must do, worked out from the list of tags: every file operation and sink call, in order.
#pragma once

#include <array>
#include <cstdint>
#include <deque>
#include <optional>
#include <string>
#include <vector>

#include "tests/support/random_case.h"

namespace qbflv::test {

class SessionModel {
 public:
  /// c, flv: of the same case; they outlive the model, which begins after the headers.
  SessionModel(const RandomCase& c, const FlvBuilder& flv);

  /// The lines that the log gets from a request, with "refused s=" for a stream that may not ask for a packet.
  CallLog::Lines Perform(const RandomRequest& request);

 private:
  struct Tag : RandomTag {
    /// Of a stream that the file's header announces.
    bool isAnnounced = false;
    /// The time, counted from the first tag that is heard or seen.
    std::uint32_t relative = 0;
    /// Whether a stream can restart here.
    bool isKey = false;
    std::size_t stream = 0;
    std::uint32_t offset = 0;
    std::uint32_t next = 0;
  };

  struct Position {
    std::uint32_t time = 0;
    std::uint32_t offset = 0;
  };

  struct Stream {
    /// The index: positions to restart at.
    std::vector<Position> known;
    /// For the seek that runs.
    std::optional<Position> restart;
    std::deque<const Tag*> queue;
    std::uint32_t units = 0;
    bool asked = false;
    /// No more packets are taken from the file.
    bool ended = false;
    /// The host was told so.
    bool done = false;
  };

  void ReadAhead(const FlvBuilder& flv);
  const Tag* TagAt(std::uint64_t offset) const;

  void Keep(std::size_t stream, const Position& position);
  const Position* Latest(std::size_t stream, std::uint32_t time) const;

  void Seek(std::uint32_t time);
  void Play(bool later);
  void ReadOn();
  void Queue(const Tag& tag);
  Stream* NextToRelease();
  /// False when the host has sought meanwhile.
  bool DeliverPackets();
  void EndAll();

  void Issue(std::string line) { m_lines.push_back(std::move(line)); }
  /// Whether the file completes what was issued last.
  bool IsCompleted() { return m_completionsLeft-- > 0; }

  const RandomCase& m_case;
  std::vector<Tag> m_tags;
  std::uint32_t m_fileSize;
  /// What the end of the file told.
  std::optional<std::uint32_t> m_lastAudio, m_lastVideo;
  std::uint32_t m_granularity = 0;
  std::size_t m_capacity = 0;
  /// In ms, between packets of which one is held back.
  std::int32_t m_maxSpan = 10000;

  std::vector<Stream> m_streams;
  std::uint64_t m_position = 9;
  /// A tag is being read for delivery.
  bool m_isReading = false;

  RandomRequest m_request;
  std::uint32_t m_packets = 0;
  std::int64_t m_completionsLeft = 0;
  CallLog::Lines m_lines;
};

}  // namespace qbflv::test
