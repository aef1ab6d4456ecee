// The restart positions that the reader knows, per stream.
#pragma once

#include <cstdint>

#include "plugin/index/file_index_table.h"
#include "plugin/shell/host_interfaces.h"

namespace qbflv {

/// Times are in ms, relative to the time base. Offsets are those of the previous-tag-size field in front of a tag.
class CSeekPoints {
 public:
  /// Describes the index that the first position makes: a duration in ms, from which its size follows.
  void Prepare(std::uint32_t streamCount, std::uint32_t duration);
  /// The one way positions enter the index: a key position is offered to it, any other tag only raises the time up to
  /// which the stream has been seen.
  void AddSeekPoint(std::uint32_t stream, std::uint32_t offset, std::uint32_t time, bool key);
  /// The latest position of the stream at or before the time; see CStreamIndexTable::Lookup. kFailed without one.
  [[nodiscard]] Status Lookup(std::uint32_t stream, std::uint32_t& time, std::uint32_t& offset);

 private:
  void MakeIndex();

  CFileIndexTable m_Index;
  bool m_bIndexMade = false;
  std::uint32_t m_ulStreamCount = 0;
  std::uint32_t m_ulDuration = 0;
};

}  // namespace qbflv
