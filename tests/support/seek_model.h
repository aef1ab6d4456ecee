// What seeking and delivery must do with a file, worked out anew from its bytes: no state machine, no queues, only the
// rules. It keeps the positions that are known so far and tells the file operations of a seek, and what must be
// delivered after it.
#pragma once

#include <array>
#include <cstdint>
#include <optional>
#include <string>
#include <utility>
#include <vector>

#include "tests/support/flv_builder.h"

namespace qbflv::test {

struct ModelSettings {
  std::uint8_t flags = kBoth;
  /// The plug-in looked at the end of the file beforehand.
  bool knowsEnd = false;
  /// A read at the end fails.
  bool failsAtEnd = false;
  /// "ProcessTimeUnits"; 0 for none.
  std::uint32_t units = 0;
  /// The preference allows a seek without a known position to go to the start, for a request of few units.
  bool thumbnailStart = false;
  /// The metadata's key frames as it lists them, in seconds and bytes.
  std::vector<std::pair<double, double>> keyFrames = {};
};

struct ModelSeek {
  std::vector<std::string> operations;
  bool failed = false;
  /// Where delivery goes on.
  std::uint64_t position = 0;
};

struct ModelPacket {
  std::uint32_t time = 0;
  std::uint32_t size = 0;
};

class SeekModel {
 public:
  SeekModel(const Bytes& file, const ModelSettings& settings);

  /// The body of the tag whose field stands at that offset was read for delivery.
  void NoteDelivered(std::uint64_t offset);

  ModelSeek Seek(std::uint32_t time);

  /// For each stream, all packets from there on, to where the stream ends by its last time or the limit of units.
  /// reachesEnd: false for a stream that is ended so.
  struct Rest {
    std::vector<ModelPacket> packets;
    bool reachesEnd = true;
  };
  std::vector<Rest> DeliveryFrom(std::uint64_t position) const;

  std::size_t StreamCount() const { return m_index.size(); }

 private:
  struct Tag {
    std::uint8_t type = 0;
    std::uint32_t size = 0;
    std::uint32_t time = 0;
    /// Of the body, or what stands there if it is empty.
    std::uint8_t firstByte = 0;
  };

  struct Position {
    std::uint32_t time = 0;
    std::uint32_t offset = 0;
  };

  /// Nothing if the bytes end before it.
  std::optional<Tag> TagAt(std::uint64_t offset, std::uint64_t bytes) const;
  std::optional<std::size_t> StreamOf(std::uint8_t type) const;
  void Offer(std::size_t stream, const Position& position);
  const Position* Lookup(std::size_t stream, std::uint32_t time) const;
  void FindEnds();
  void SizeIndex();

  const Bytes& m_file;
  const ModelSettings m_settings;
  std::uint32_t m_firstTag = 0;
  std::uint32_t m_timeBase = 0;
  /// Relative times of the last tags of each stream, the last one first; at most two.
  std::array<std::vector<std::uint32_t>, 2> m_lastTimes;
  std::uint32_t m_granularity = 0;
  std::size_t m_capacity = 0;
  /// The known positions of each stream.
  std::vector<std::vector<Position>> m_index;
};

}  // namespace qbflv::test
