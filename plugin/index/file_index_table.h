// The seek index of a file: one table of restart positions per stream.
#pragma once

#include <cstdint>

#include "plugin/index/stream_index_table.h"
#include "plugin/shell/host_interfaces.h"
#include "plugin/util/owned.h"

namespace qbflv {

/// Forwards each operation to the stream's table, whose class describes it. For a stream without a table, the
/// operations that return a status return kFailed, IsCovered returns 0, and nothing changes.
class CFileIndexTable final {
 public:
  CFileIndexTable() = default;
  CFileIndexTable(CFileIndexTable&&) = default;
  CFileIndexTable& operator=(CFileIndexTable&&) = default;

  /// Slot 0.
  virtual ~CFileIndexTable() = default;
  /// Slot 1. Replaces the tables with new ones for that number of streams. After kOutOfMemory there are no streams, or
  /// the tables after the one whose allocation failed have capacity 0.
  virtual Status Init(std::uint16_t streams, std::uint32_t granularity, std::uint32_t capacity, std::uint32_t extras);
  /// Slot 2.
  virtual Status AddEntry(std::uint16_t stream, std::uint32_t time, std::uint32_t offset, std::uint64_t extra);
  /// Slot 3.
  virtual Status Lookup(std::uint16_t stream, std::uint32_t* time, std::uint32_t* offset, std::uint64_t* extra);
  /// Slot 4.
  virtual BOOL IsCovered(std::uint16_t stream, std::uint32_t time);
  /// Slot 5.
  virtual Status LookupByOffset(std::uint16_t stream, std::uint32_t offset, std::uint32_t limit, std::uint32_t* time,
                                std::uint32_t* foundOffset, std::uint32_t* beyondEnd);
  /// Slot 6. Applies to every stream.
  virtual void SetGranularity(std::uint32_t granularity);
  /// Slot 7.
  virtual void NoteTime(std::uint16_t stream, std::uint32_t time);
  /// Slot 8. Removes all tables.
  virtual void Clear();

 private:
  OwnedArray<CStreamIndexTable> m_pStreamTables;
  std::uint16_t m_uStreamCount = 0;
};

}  // namespace qbflv
