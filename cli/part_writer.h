// Writes a part of a file so that a player can start with it.
#pragma once

#include <cstdint>
#include <optional>
#include <span>
#include <vector>

#include "cli/output.h"
#include "host/first_tags.h"
#include "host/flv_writer.h"
#include "plugin/shell/host_interfaces.h"

namespace qbflv::cli {

/// Which packets are wanted. Times in ms, counted from the file's first tag.
struct FilePart {
  std::optional<std::uint32_t> start;
  /// Inclusive.
  std::optional<std::uint32_t> end;
  /// Whether times begin at 0.
  bool rebase = false;

  bool IsWhole() const { return !start && !end; }
};

/// Writes the metadata and the codecs' configurations, then the packets that it is given in the order of delivery. All
/// operations throw HostError.
class PartWriter {
 public:
  /// writer: outlives this. types: the tag type of each stream.
  PartWriter(host::FlvWriter& writer, const std::vector<std::uint8_t>& types, host::FirstTags first, FilePart part);

  /// Answers whether any stream still has packets to come: false when every one is past the end.
  bool Write(IQBPacket& packet);
  bool EndStream(std::uint16_t stream);

  /// Called last. Throws when a part has no packets; a whole file may have none.
  void End();

  void PrintTotals(Output& output) const;

 private:
  struct Stream {
    std::uint8_t type = 0;
    std::uint64_t packets = 0;
    /// Its configuration stands in front, and no packet behind it yet.
    bool isConfigured = false;
    /// Its frames are of no use before the first key frame.
    bool awaitsKeyFrame = false;
    bool ended = false;
  };

  const std::vector<std::uint8_t>& Configuration(std::uint8_t type) const;
  bool IsPastEnd(std::uint32_t time) const;
  bool AnyStreamLeft() const;
  void Begin(std::uint32_t time);
  void WriteTag(Stream& stream, std::uint32_t time, std::span<const std::uint8_t> body);
  std::uint32_t Rebased(std::uint32_t time) const;

  host::FlvWriter& m_writer;
  const host::FirstTags m_first;
  const FilePart m_part;
  std::vector<Stream> m_streams;
  /// Of the first packet written.
  std::optional<std::uint32_t> m_firstTime;
};

}  // namespace qbflv::cli
