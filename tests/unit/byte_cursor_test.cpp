// The big-endian readers: what they take, and that a failure takes nothing.
#include "plugin/util/byte_cursor.h"

#include <gtest/gtest.h>

#include <string>

#include "plugin/meta/amf_input.h"
#include "tests/unit/byte_text.h"

namespace qbflv {
namespace {

constexpr double kUntouched = 77.0;

using Reader = Status (*)(ByteCursor& cursor, double& value);

/// Gives every reader the one shape that the table needs.
template <typename Value, Status (*kRead)(ByteCursor&, Value&)>
Status Read(ByteCursor& cursor, double& value) {
  auto read = static_cast<Value>(value);
  const Status status = kRead(cursor, read);
  value = static_cast<double>(read);
  return status;
}

TEST(ByteCursor, Readers_TakeTheirBytesInBigEndianOrderOrNothing) {
  struct Case {
    const char* name;
    Reader reader;
    std::uint32_t size;
    double value;
  };
  const Case cases[] = {
      {"u8", Read<std::uint8_t, ReadUINT8>, 1, 0x40},        {"u16", Read<std::uint16_t, ReadUINT16>, 2, 0x408F},
      {"u24", Read<std::uint32_t, ReadUINT24>, 3, 0x408F40}, {"u32", Read<std::uint32_t, ReadUINT32>, 4, 0x408F4000},
      {"double", Read<double, ReadDouble>, 8, 1000.0},
  };
  const auto bytes = BytesOf("408F400000000000");
  for (const Case& row : cases) {
    for (std::uint32_t length = 0; length <= bytes.size(); ++length) {
      const std::vector<std::uint8_t> exact(bytes.begin(), bytes.begin() + length);
      ByteCursor cursor(exact);
      double value = kUntouched;
      const bool enough = length >= row.size;
      EXPECT_EQ(enough ? kOk : kFailed, row.reader(cursor, value)) << row.name << " of " << length;
      EXPECT_EQ(enough ? row.value : kUntouched, value) << row.name << " of " << length;
      EXPECT_EQ(enough ? length - row.size : length, cursor.remaining) << row.name << " of " << length;
      EXPECT_EQ(exact.data() + (length - cursor.remaining), cursor.bytes) << row.name << " of " << length;
    }
    ByteCursor nowhere;
    nowhere.remaining = 100;
    double value = kUntouched;
    EXPECT_EQ(kFailed, row.reader(nowhere, value)) << row.name;
    EXPECT_EQ(100U, nowhere.remaining) << row.name;
  }
}

TEST(ByteCursor, ReadBits_TakesTheHighestBitsFirstOrNothing) {
  struct Case {
    const char* bytes;
    std::uint32_t position;
    std::uint32_t count;
    Status status;
    std::uint32_t value;
    std::uint32_t positionAfter;
    std::uint32_t remaining;
  };
  constexpr std::uint32_t kOld = 77;
  const Case cases[] = {
      {"000084", 7, 17, kOk, 1, 6, 1},
      {"A5", 7, 4, kOk, 0xA, 3, 1},
      {"A5", 3, 4, kOk, 0x5, 7, 0},
      {"A5", 0, 1, kOk, 1, 7, 0},
      {"A5", 0, 2, kFailed, kOld, 0, 1},
      {"01", 5, 0, kOk, 0, 5, 1},
      {"", 7, 0, kFailed, kOld, 7, 0},
      {"010203", 7, 24, kOk, 0x010203, 7, 0},
      {"010203", 7, 25, kFailed, kOld, 7, 3},
      {"FF01020304", 7, 32, kOk, 0xFF010203, 7, 1},
      {"FF01020304", 7, 33, kFailed, kOld, 7, 5},
      {"8000000080", 6, 32, kOk, 1, 6, 1},
      {"FFFF", 8, 1, kFailed, kOld, 8, 2},
  };
  for (const Case& row : cases) {
    const auto bytes = BytesOf(row.bytes);
    ByteCursor cursor(bytes);
    std::uint32_t position = row.position;
    std::uint32_t value = kOld;
    const std::string text =
        std::string(row.bytes) + " from " + std::to_string(row.position) + ", " + std::to_string(row.count) + " bits";
    EXPECT_EQ(row.status, ReadBits(cursor, position, row.count, value)) << text;
    EXPECT_EQ(row.value, value) << text;
    EXPECT_EQ(row.positionAfter, position) << text;
    EXPECT_EQ(row.remaining, cursor.remaining) << text;
  }
}

TEST(ByteCursor, ReadCountedString_EndsTheBytesWithANulOrTakesNothing) {
  const auto bytes = BytesOf("6100627A");
  AMFInput input{ByteCursor(bytes)};
  OwnedArray<char> text;
  EXPECT_EQ(kFailed, ReadCountedString(input, 5, text));
  EXPECT_EQ(kFailed, ReadCountedString(input, 0xFFFFFFFF, text));
  EXPECT_EQ(nullptr, text);
  EXPECT_EQ(4U, input.cursor.remaining);

  ASSERT_EQ(kOk, ReadCountedString(input, 3, text));
  EXPECT_EQ(std::string("a\0b\0", 4), std::string(text.get(), 4));
  EXPECT_EQ(1U, input.cursor.remaining);
  ASSERT_EQ(kOk, ReadCountedString(input, 0, text));
  EXPECT_STREQ("", text.get());

  AMFInput nowhere{ByteCursor()};
  EXPECT_EQ(kFailed, ReadCountedString(nowhere, 0, text));
}

}  // namespace
}  // namespace qbflv
