// The known restart positions of one stream: a short list of times and file offsets, in ascending time.
#pragma once

#include <cstdint>

#include "plugin/shell/host_interfaces.h"
#include "plugin/util/owned.h"

namespace qbflv {

/// Success code of a lookup beyond all times that were added or noted: the file may have a later position.
inline constexpr Status kBeyondSeen = MakeStatus(0x00040080);

/// Times are in ms. An offset is the position of the size field before a tag. Entries are only appended, each at least
/// one granularity after the previous one.
class CStreamIndexTable final {
 public:
  CStreamIndexTable() = default;
  CStreamIndexTable(const CStreamIndexTable&) = delete;
  CStreamIndexTable& operator=(const CStreamIndexTable&) = delete;

  /// Slot 0.
  virtual ~CStreamIndexTable() = default;
  /// Slot 1. Makes an empty table for capacity entries. If extras is not 0, each entry has an extra value for the
  /// caller. After kOutOfMemory the capacity is 0, or, if only the extras' allocation failed, entries have no extras.
  virtual Status Init(std::uint32_t granularity, std::uint32_t capacity, std::uint32_t extras);
  /// Slot 2. Appends an entry. Returns kFailed if the table is full, or if time is not at least one granularity after
  /// the last entry.
  virtual Status AddEntry(std::uint32_t time, std::uint32_t offset, std::uint64_t extra);
  /// Slot 3. Finds the entry with the greatest time at or before the given one. Returns kOk, or kBeyondSeen if the
  /// stream has not been seen up to that time. Returns kFailed and leaves the outputs unchanged if there is no such
  /// entry. extra may be null, and is unchanged if the table has no extras.
  virtual Status Lookup(std::uint32_t* time, std::uint32_t* offset, std::uint64_t* extra);
  /// Slot 4. Returns 1 if an entry was added at the time or later.
  virtual BOOL IsCovered(std::uint32_t time);
  /// Slot 5. Finds the last entry at or before the given offset, or the first entry if there is none. beyondEnd is 1 if
  /// the result is the last entry and its offset is below the given one. Returns kInvalidArgument and leaves the
  /// outputs unchanged if offset exceeds limit. Returns kFailed for an empty table, with time and foundOffset 0 and
  /// beyondEnd 1.
  virtual Status LookupByOffset(std::uint32_t offset, std::uint32_t limit, std::uint32_t* time,
                                std::uint32_t* foundOffset, std::uint32_t* beyondEnd);
  /// Slot 6. Applies to entries added later.
  virtual void SetGranularity(std::uint32_t granularity);
  /// Slot 7. Records that the stream was seen at this time, without a restart position. Returns the highest time seen.
  virtual std::uint32_t NoteTime(std::uint32_t time);
  /// Slot 8. Makes the table empty, with capacity 0.
  virtual void Clear();

 private:
  struct Entry {
    std::uint32_t ulTime;
    std::uint32_t ulOffset;
  };

  OwnedArray<Entry> m_pEntries;
  OwnedArray<std::uint64_t> m_pExtras;
  std::uint32_t m_ulCapacity = 0;
  std::uint32_t m_ulGranularity = 0;
  std::uint32_t m_ulCount = 0;
  /// Time of the last entry.
  std::uint32_t m_ulLastTime = 0;
  /// Highest time that was added or noted.
  std::uint32_t m_ulHighestTime = 0;
};

}  // namespace qbflv
