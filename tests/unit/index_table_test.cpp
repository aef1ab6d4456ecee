// The seek index, beyond the look-ups by time that the structures fuzzer compares with a model.
#include <gtest/gtest.h>

#include "plugin/index/file_index_table.h"
#include "plugin/index/index_sizing.h"

namespace qbflv {
namespace {

TEST(IndexSizing, Duration_GivesGranularityAndCapacity) {
  const struct {
    std::uint32_t duration;
    std::uint32_t granularity;
    std::uint32_t capacity;
  } cases[] = {{0, 50, 32},
               {1649, 50, 32},
               {1650, 50, 33},
               {102399, 50, 2047},
               {104447, 50, 2048},
               {104448, 51, 2048},
               {30719999, 14999, 2048},
               {30720000, 15000, 2048},
               {0xFFFFFFFF, 15000, 2048}};
  for (const auto& row : cases) {
    const IndexSizing sizing = SizeIndexFor(row.duration);
    EXPECT_EQ(row.granularity, sizing.granularity) << row.duration;
    EXPECT_EQ(row.capacity, sizing.capacity) << row.duration;
  }
}

TEST(FileIndexTable, LookupByOffset_FindsTheLastOffsetAtOrBeforeInTheStream) {
  const struct {
    const char* name;
    std::uint16_t stream;
    std::uint32_t offset;
    Status status;
    std::uint32_t time;
    std::uint32_t found;
    std::uint32_t beyond;
  } cases[] = {
      {"between", 1, 2999, kOk, 20, 2000, 0},
      {"equal to the last", 1, 3000, kOk, 30, 3000, 0},
      {"past the last", 1, 3001, kOk, 30, 3000, 1},
      {"before the first", 1, 999, kOk, 10, 1000, 0},
      {"at the limit", 1, 5000, kOk, 30, 3000, 1},
      {"past the limit", 1, 5001, kInvalidArgument, 77, 77, 77},
      {"in a stream without entries", 0, 0, kFailed, 0, 0, 1},
      {"in no stream", 2, 0, kFailed, 77, 77, 77},
  };
  CFileIndexTable index;
  ASSERT_EQ(kOk, index.Init(2, 1, 8, 0));
  for (const std::uint32_t time : {10U, 20U, 30U}) ASSERT_EQ(kOk, index.AddEntry(1, time, time * 100, 0));
  for (const auto& row : cases) {
    std::uint32_t time = 77;
    std::uint32_t found = 77;
    std::uint32_t beyond = 77;
    EXPECT_EQ(row.status, index.LookupByOffset(row.stream, row.offset, 5000, &time, &found, &beyond)) << row.name;
    EXPECT_TRUE(time == row.time && found == row.found && beyond == row.beyond) << row.name;
  }
  // The search then begins at the first entry.
  index.SetGranularity(1000);
  for (const std::uint32_t wanted : {25U, 35U}) {
    std::uint32_t time = wanted;
    std::uint32_t offset = 0;
    EXPECT_EQ(wanted == 25 ? kOk : kBeyondSeen, index.Lookup(1, &time, &offset, nullptr));
    EXPECT_EQ(wanted - 5, time);
    EXPECT_EQ(100 * time, offset);
  }
}

TEST(FileIndexTable, Streams_AreKeptApart) {
  CFileIndexTable index;
  EXPECT_EQ(kFailed, index.AddEntry(0, 0, 0, 0)) << "before Init";
  ASSERT_EQ(kOk, index.Init(2, 10, 8, 0));
  for (std::uint16_t stream = 0; stream < 2; ++stream) {
    ASSERT_EQ(kOk, index.AddEntry(stream, 10U + stream, 1000U + stream, 0));
  }
  index.NoteTime(1, 90);
  index.NoteTime(2, 99);
  const Status statuses[] = {kBeyondSeen, kOk, kFailed};
  for (std::uint16_t stream = 0; stream < 3; ++stream) {
    const bool exists = stream < 2;
    std::uint32_t time = 90;
    std::uint32_t offset = 77;
    EXPECT_EQ(statuses[stream], index.Lookup(stream, &time, &offset, nullptr)) << stream;
    EXPECT_TRUE(time == (exists ? 10U + stream : 90U) && offset == (exists ? 1000U + stream : 77U)) << stream;
    EXPECT_EQ(exists ? 1 : 0, index.IsCovered(stream, exists ? 10U + stream : 0)) << stream;
    EXPECT_EQ(0, index.IsCovered(stream, 11U + stream)) << "seen at most, in " << stream;
  }
  index.SetGranularity(1000);
  for (std::uint16_t stream = 0; stream < 3; ++stream) EXPECT_EQ(kFailed, index.AddEntry(stream, 500, 0, 0)) << stream;
  index.Clear();
  EXPECT_EQ(kFailed, index.AddEntry(0, 5000, 0, 0));
}

}  // namespace
}  // namespace qbflv
