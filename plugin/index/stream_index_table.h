// The known restart positions of one stream: a short list of (time, file offset), in increasing time.
#pragma once

#include <cstdint>

#include "plugin/shell/host_interfaces.h"
#include "plugin/util/owned.h"

namespace qbflv {

/// Success code of a lookup past everything that was added or noted: a later position may exist in the file.
inline constexpr Status kBeyondSeen = MakeStatus(0x00040080);

/// Times are in ms. An offset is that of the size field in front of a tag. Entries are only appended, each at least the
/// granularity after the one before.
class CStreamIndexTable {
 public:
  CStreamIndexTable() = default;
  CStreamIndexTable(const CStreamIndexTable&) = delete;
  CStreamIndexTable& operator=(const CStreamIndexTable&) = delete;

  /// Slot 0.
  virtual ~CStreamIndexTable() = default;
  /// Slot 1. Starts anew with room for capacity entries; extras not 0 keeps a 64-bit value of the caller's beside each.
  /// kOutOfMemory: entries that could not be made leave a capacity of 0; extras that could not be made are not kept.
  virtual Status Init(std::uint32_t granularity, std::uint32_t capacity, std::uint32_t extras);
  /// Slot 2. kFailed when the table is full, or the time is not at least the granularity after the last one.
  virtual Status AddEntry(std::uint32_t time, std::uint32_t offset, std::uint64_t extra);
  /// Slot 3. Finds the entry with the greatest time at or before the given one: kOk, or kBeyondSeen when the stream has
  /// not been seen up to that time. kFailed when there is none: the outputs stay. extra may be null, and stays when no
  /// extras are kept.
  virtual Status Lookup(std::uint32_t* time, std::uint32_t* offset, std::uint64_t* extra);
  /// Slot 4. Whether an entry was added at the time or later.
  virtual BOOL IsCovered(std::uint32_t time);
  /// Slot 5. Finds the last entry at or before the given offset, or the first entry when none is. beyondEnd: 1 when
  /// that is the last entry and lies below the given offset. kInvalidArgument when offset exceeds limit: the outputs
  /// stay. kFailed when the table is empty: time and foundOffset are 0, beyondEnd 1.
  virtual Status LookupByOffset(std::uint32_t offset, std::uint32_t limit, std::uint32_t* time,
                                std::uint32_t* foundOffset, std::uint32_t* beyondEnd);
  /// Slot 6. Counts for entries added from now on.
  virtual void SetGranularity(std::uint32_t granularity);
  /// Slot 7. The stream was seen at this time, though not at a restart position. Answers the highest time seen.
  virtual std::uint32_t NoteTime(std::uint32_t time);
  /// Slot 8. An empty table without room.
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
  /// Time of the last entry added.
  std::uint32_t m_ulLastTime = 0;
  /// Highest time added or noted.
  std::uint32_t m_ulHighestTime = 0;
};

}  // namespace qbflv
