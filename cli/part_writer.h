// Writes the packets of a part of a file to a new file.
#pragma once

#include <cstdint>
#include <optional>
#include <span>
#include <vector>

#include "cli/flv_writer.h"
#include "plugin/shell/host_interfaces.h"

namespace qbflv::cli {

/// Selects packets by time. Times are in ms from the file's first tag.
struct FilePart {
  std::optional<std::uint32_t> start;
  /// Inclusive.
  std::optional<std::uint32_t> end;

  bool IsWhole() const { return !start && !end; }
};

/// Writes packets in the order of delivery. All functions throw HostError.
class PartWriter {
 public:
  /// writer: must outlive this. types: the tag type of each stream. timeBase: the timestamp from which the times of the
  /// part count.
  PartWriter(FlvWriter& writer, const std::vector<flv::TagType>& types, std::uint32_t timeBase, FilePart part);

  /// Makes times relative to this timestamp. Earlier packets get time 0.
  void RebaseFrom(std::uint32_t time) { m_zero = time; }
  /// Makes times relative to the first packet that is written.
  void RebaseFromFirst() { m_rebaseFromFirst = true; }

  /// Both return false when every stream has passed the end.
  bool Write(IQBPacket& packet);
  bool EndStream(std::uint16_t stream);

  std::uint64_t Packets(flv::TagType type) const;

 private:
  struct Stream {
    flv::TagType type;
    std::uint64_t packets = 0;
    bool ended = false;
  };

  bool IsPastEnd(std::uint32_t time) const;
  bool AnyStreamLeft() const;
  std::uint32_t Rebased(std::uint32_t time) const;

  FlvWriter& m_writer;
  const std::uint32_t m_timeBase;
  const FilePart m_part;
  std::vector<Stream> m_streams;
  bool m_rebaseFromFirst = false;
  std::optional<std::uint32_t> m_zero;
};

}  // namespace qbflv::cli
