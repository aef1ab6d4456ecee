// The seek index: which positions it keeps, and which it answers.
#include <gtest/gtest.h>

#include <algorithm>
#include <vector>

#include "plugin/index/file_index_table.h"
#include "plugin/index/index_sizing.h"
#include "plugin/index/stream_index_table.h"
#include "tests/unit/heap_probe.h"

namespace qbflv {
namespace {

/// Each position is at a hundred times its time.
void Add(CStreamIndexTable& table, const std::vector<std::uint32_t>& times) {
  for (const std::uint32_t time : times) ASSERT_EQ(kOk, table.AddEntry(time, time * 100, time + 7)) << time;
}

TEST(IndexSizing, Duration_GivesGranularityAndCapacity) {
  struct Case {
    std::uint32_t duration;
    std::uint32_t granularity;
    std::uint32_t capacity;
  };
  constexpr Case kCases[] = {
      {0, 50, 32},           {1000, 50, 32},          {1649, 50, 32},          {1650, 50, 33},
      {60000, 50, 1200},     {102399, 50, 2047},      {102400, 50, 2048},      {104448, 51, 2048},
      {3600000, 1757, 2048}, {30720000, 15000, 2048}, {36000000, 15000, 2048}, {0xFFFFFFFF, 15000, 2048},
  };
  for (const Case& row : kCases) {
    const IndexSizing sizing = SizeIndexFor(row.duration);
    EXPECT_EQ(row.granularity, sizing.granularity) << row.duration;
    EXPECT_EQ(row.capacity, sizing.capacity) << row.duration;
  }
}

TEST(StreamIndexTable, AddEntry_KeepsTimesThatAreFarEnoughApartUntilFull) {
  struct Case {
    const char* name;
    std::uint32_t granularity;
    std::uint32_t capacity;
    std::vector<std::uint32_t> offered;
    std::vector<std::uint32_t> kept;
  };
  const Case cases[] = {
      {"too close to the last", 1000, 8, {0, 1000, 1500, 3000}, {0, 1000, 3000}},
      {"the first at any time", 1000, 8, {500, 1499, 1500}, {500, 1500}},
      {"backwards and equal", 0, 8, {10, 10, 9, 11}, {10, 11}},
      {"full", 10, 2, {0, 10, 20}, {0, 10}},
      {"no room", 10, 0, {0}, {}},
      {"the whole range", 15000, 8, {0, 0xFFFFFFFF}, {0, 0xFFFFFFFF}},
  };
  for (const Case& row : cases) {
    CStreamIndexTable table;
    ASSERT_EQ(kOk, table.Init(row.granularity, row.capacity, 0)) << row.name;
    std::vector<std::uint32_t> kept;
    for (const std::uint32_t time : row.offered) {
      const Status status = table.AddEntry(time, 0, 0);
      EXPECT_TRUE(status == kOk || status == kFailed) << row.name;
      if (status == kOk) kept.push_back(time);
    }
    EXPECT_EQ(row.kept, kept) << row.name;
  }
}

TEST(StreamIndexTable, Lookup_AnswersTheGreatestTimeAtOrBefore) {
  struct Case {
    const char* name;
    std::vector<std::uint32_t> times;
    std::uint32_t noted;
    std::uint32_t wanted;
    Status status;
    std::uint32_t found;
  };
  const std::vector<std::uint32_t> usual = {0, 2000, 4000};
  const Case cases[] = {
      {"between", usual, 0, 3999, kOk, 2000},
      {"equal", usual, 0, 4000, kOk, 4000},
      {"beyond what was seen", usual, 9999, 10000, kBeyondSeen, 4000},
      {"noted that far", usual, 10000, 10000, kOk, 4000},
      {"before the first", {500, 1000}, 0, 499, kFailed, 499},
      {"at the first", {500, 1000}, 0, 500, kOk, 500},
      {"empty, though noted", {}, 5000, 1000, kFailed, 1000},
      {"far apart", {0, 1000000}, 0, 999999, kOk, 0},
      {"the largest time", usual, 0, 0xFFFFFFFF, kBeyondSeen, 4000},
  };
  for (const Case& row : cases) {
    CStreamIndexTable table;
    ASSERT_EQ(kOk, table.Init(50, 16, 1)) << row.name;
    Add(table, row.times);
    table.NoteTime(row.noted);
    std::uint32_t time = row.wanted;
    std::uint32_t offset = 1;
    std::uint64_t extra = 2;
    EXPECT_EQ(row.status, table.Lookup(&time, &offset, &extra)) << row.name;
    EXPECT_EQ(row.found, time) << row.name;
    EXPECT_EQ(Failed(row.status) ? 1 : row.found * 100, offset) << row.name;
    EXPECT_EQ(Failed(row.status) ? 2 : row.found + 7, extra) << row.name;
  }
}

TEST(StreamIndexTable, Lookup_IsRightWhateverTheGranularityIsOrBecomes) {
  const std::vector<std::uint32_t> times = {3, 10, 11, 12, 30, 31, 47, 60};
  for (const std::uint32_t later : {0U, 1U, 5U, 10U, 1000U}) {
    CStreamIndexTable table;
    ASSERT_EQ(kOk, table.Init(0, 8, 0));
    Add(table, times);
    table.SetGranularity(later);
    for (std::uint32_t wanted = 3; wanted < 70; ++wanted) {
      const std::uint32_t expected = *(std::upper_bound(times.begin(), times.end(), wanted) - 1);
      std::uint32_t time = wanted;
      std::uint32_t offset = 0;
      EXPECT_EQ(wanted > 60 ? kBeyondSeen : kOk, table.Lookup(&time, &offset, nullptr)) << wanted << " by " << later;
      EXPECT_EQ(expected, time) << wanted << " by " << later;
      EXPECT_EQ(expected * 100, offset) << wanted << " by " << later;
    }
  }
}

TEST(StreamIndexTable, LookupByOffset_AnswersTheLastOffsetAtOrBefore) {
  struct Case {
    const char* name;
    std::vector<std::uint32_t> times;
    std::uint32_t offset;
    Status status;
    std::uint32_t time;
    std::uint32_t found;
    std::uint32_t beyond;
  };
  const std::vector<std::uint32_t> usual = {10, 20, 30};
  const Case cases[] = {
      {"between", usual, 2999, kOk, 20, 2000, 0},
      {"equal to the last", usual, 3000, kOk, 30, 3000, 0},
      {"past the last", usual, 3001, kOk, 30, 3000, 1},
      {"before the first", usual, 999, kOk, 10, 1000, 0},
      {"at the limit", usual, 5000, kOk, 30, 3000, 1},
      {"past the limit", usual, 5001, kInvalidArgument, 77, 77, 77},
      {"empty", {}, 0, kFailed, 0, 0, 1},
  };
  for (const Case& row : cases) {
    CStreamIndexTable table;
    ASSERT_EQ(kOk, table.Init(1, 8, 0)) << row.name;
    Add(table, row.times);
    std::uint32_t time = 77;
    std::uint32_t found = 77;
    std::uint32_t beyond = 77;
    EXPECT_EQ(row.status, table.LookupByOffset(row.offset, 5000, &time, &found, &beyond)) << row.name;
    EXPECT_EQ(row.time, time) << row.name;
    EXPECT_EQ(row.found, found) << row.name;
    EXPECT_EQ(row.beyond, beyond) << row.name;
  }
}

TEST(StreamIndexTable, NoteTimeAndIsCovered_TellSeenFromAdded) {
  CStreamIndexTable table;
  ASSERT_EQ(kOk, table.Init(10, 8, 0));
  Add(table, {100});
  EXPECT_EQ(100U, table.NoteTime(50));
  EXPECT_EQ(500U, table.NoteTime(500));
  EXPECT_EQ(1, table.IsCovered(100));
  EXPECT_EQ(0, table.IsCovered(101));
  table.Clear();
  EXPECT_EQ(0U, table.NoteTime(0));
  EXPECT_EQ(0, table.IsCovered(1));
  EXPECT_EQ(kFailed, table.AddEntry(1, 1, 0));
}

TEST(FileIndexTable, Streams_AreKeptApart) {
  CFileIndexTable index;
  std::uint32_t time = 77;
  std::uint32_t offset = 77;
  std::uint32_t beyond = 77;
  EXPECT_EQ(kFailed, index.AddEntry(0, 0, 0, 0));
  ASSERT_EQ(kOk, index.Init(2, 10, 8, 0));
  ASSERT_EQ(kOk, index.AddEntry(0, 10, 1000, 0));
  ASSERT_EQ(kOk, index.AddEntry(1, 20, 2000, 0));
  index.NoteTime(1, 90);
  for (const std::uint16_t stream : {std::uint16_t{0}, std::uint16_t{1}}) {
    const std::uint32_t own = stream == 0 ? 10 : 20;
    time = 90;
    EXPECT_EQ(stream == 0 ? kBeyondSeen : kOk, index.Lookup(stream, &time, &offset, nullptr)) << stream;
    EXPECT_EQ(own, time) << stream;
    EXPECT_EQ(own * 100, offset) << stream;
    EXPECT_EQ(1, index.IsCovered(stream, own)) << stream;
    EXPECT_EQ(0, index.IsCovered(stream, own + 1)) << stream;
    EXPECT_EQ(kOk, index.LookupByOffset(stream, 3000, 3000, &time, &offset, &beyond)) << stream;
    EXPECT_EQ(own, time) << stream;
  }
  index.SetGranularity(1000);
  EXPECT_EQ(kFailed, index.AddEntry(0, 500, 0, 0));
  EXPECT_EQ(kFailed, index.AddEntry(1, 500, 0, 0));

  time = offset = beyond = 77;
  EXPECT_EQ(kFailed, index.AddEntry(2, 5000, 0, 0));
  EXPECT_EQ(kFailed, index.Lookup(2, &time, &offset, nullptr));
  EXPECT_EQ(kFailed, index.LookupByOffset(2, 0, 0, &time, &offset, &beyond));
  EXPECT_EQ(0, index.IsCovered(2, 0));
  index.NoteTime(2, 1);
  EXPECT_TRUE(time == 77 && offset == 77 && beyond == 77);
  index.Clear();
  EXPECT_EQ(kFailed, index.AddEntry(0, 5000, 0, 0));
}

TEST(FileIndexTable, RefusedMemory_LeavesTablesThatRefuseEntries) {
  // The block of tables, then entries and extras of each.
  for (std::size_t allowed = 0; allowed < 5; ++allowed) {
    CFileIndexTable index;
    const HeapProbe heap(allowed);
    EXPECT_EQ(kOutOfMemory, index.Init(2, 10, 8, 1)) << allowed;
    EXPECT_EQ(allowed >= 2 ? kOk : kFailed, index.AddEntry(0, 1, 1, 1)) << allowed;
    EXPECT_EQ(allowed >= 4 ? kOk : kFailed, index.AddEntry(1, 1, 1, 1)) << allowed;
    index.Clear();
    EXPECT_EQ(0U, heap.LiveBytes()) << allowed;
  }
}

}  // namespace
}  // namespace qbflv
