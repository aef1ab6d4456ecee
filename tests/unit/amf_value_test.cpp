// AMF0 values: what bytes decode into, how a tree is asked, and the memory, depth and stack that decoding may take.
#include "plugin/meta/amf_value.h"

#include <gtest/gtest.h>

#include <bit>
#include <sstream>
#include <string>
#include <vector>

#include "tests/support/library_heap.h"
#include "tests/support/small_stack.h"

namespace qbflv {
namespace {

using Bytes = std::vector<std::uint8_t>;

void AppendBigEndian(Bytes& bytes, std::uint64_t value, int count) {
  for (int shift = 8 * (count - 1); shift >= 0; shift -= 8) bytes.push_back(static_cast<std::uint8_t>(value >> shift));
}

/// Words, separated by spaces: an even count of hex digits stands for its bytes; `=text` for a u16 length and the text;
/// `#1000` for a big-endian double.
Bytes BytesOf(const std::string& text) {
  Bytes bytes;
  std::istringstream words(text);
  for (std::string word; words >> word;) {
    if (word[0] == '=') {
      AppendBigEndian(bytes, word.size() - 1, 2);
      bytes.insert(bytes.end(), word.begin() + 1, word.end());
    } else if (word[0] == '#') {
      AppendBigEndian(bytes, std::bit_cast<std::uint64_t>(std::stod(word.substr(1))), 8);
    } else {
      for (std::size_t i = 0; i + 1 < word.size(); i += 2) {
        bytes.push_back(static_cast<std::uint8_t>(std::stoul(word.substr(i, 2), nullptr, 16)));
      }
    }
  }
  return bytes;
}

/// A tree as text: numbers, true, 'text', null, end, and tN for the other types, with what it holds in braces.
std::string Text(const AMFValue& value) {
  if (value.m_pszString != nullptr) return "'" + std::string(value.m_pszString.get()) + "'";
  if (value.m_ucType == kAMFNumber) return std::to_string(static_cast<int>(value.m_dNumber));
  if (value.m_ucType == kAMFBoolean) return value.m_bBoolean != 0 ? "true" : "false";
  if (value.m_ucType == kAMFNull) return "null";
  if (value.m_ucType == kAMFEndOfObject) return "end";
  std::string entries;
  for (std::uint32_t i = 0; i < value.m_ulValueCount; ++i) {
    const char* const name = value.GetName(i);
    const std::string assigned = value.m_ulNameCount == 0 ? "" : (name == nullptr ? "?" : name) + std::string("=");
    entries += (i > 0 ? " " : "") + assigned + Text(*value.GetValue(i));
  }
  return "t" + std::to_string(value.m_ucType) + "{" + entries + "}";
}

Status Decode(const Bytes& bytes, AMFValue& value) {
  AMFInput input{ByteCursor(bytes)};
  return value.ReadValue(input);
}

TEST(AMFValue, Bytes_DecodeIntoTheTreeOrFailWhereTheyGoWrong) {
  const char* const old = "03 =a 00 #1 =b 05 = 09";
  const struct {
    const char* name;
    const char* bytes;
    const char* tree;
    Status status;
    std::uint32_t remaining = 0;
    /// What the value was decoded from before.
    const char* before = nullptr;
  } cases[] = {
      {"number", "00 #1000", "1000", kOk},
      {"number, short", "00 408F4000000000", "0", kFailed, 7},
      {"boolean", "01 02", "true", kOk},
      {"string", "02 =abc 05", "'abc'", kOk, 1},
      {"string, one byte short", "02 000A 313233343536373839", "t2{}", kFailed, 9},
      {"long string", "0C 00000003 616263", "'abc'", kOk},
      {"long string, far too long", "0C FFFFFFFF 616263", "t12{}", kFailed, 3},
      {"date", "0B #5 FFC4", "t11{}", kOk},
      {"date without a zone", "0B #5 FF", "t11{}", kFailed, 1},
      {"undefined", "06 05", "t6{}", kOk, 1},
      {"nothing", "", "0", kFailed},
      {"movie clip", "04 00", "t4{}", kFailed, 1},
      {"the first type that is none", "0E 0000", "t14{}", kFailed, 2},

      {"object", "03 =a 00 #1 =b 02 =x = 09 77", "t3{a=1 b='x' =end}", kOk, 1},
      {"object without bytes", "03", "t3{}", kFailed},
      {"object without an end", "03 =a 05 =b 05", "t3{a=null b=null}", kOk},
      {"object that ends in a name", "03 =a 05 0005 62", "t3{}", kFailed, 1},
      {"object with half the length of a name", "03 =a 05 00", "t3{}", kFailed, 1},
      {"object with a refused value", "03 =a 05 =b 12 05", "t3{}", kFailed, 1},
      {"object ended under a name", "03 =a 05 =z 09 05", "t3{a=null z=end}", kOk, 1},
      {"object that grows with what it owns",
       "03 =a 02 =A =b 0A 00000002 05 01 01 =c 05 =d 05 =e 05 =f 05 =g 05 =h 05 "
       "=i 03 =x 00 #7 = 09 = 09",
       "t3{a='A' b=t10{null true} c=null d=null e=null f=null g=null h=null i=t3{x=7 =end} =end}", kOk},

      {"mixed array", "08 00000002 =a 00 #1 =b 05 000009", "t8{a=1 b=null}", kOk, 3},
      {"mixed array ended early", "08 00000005 =a 05 =b 05 000009 05", "t8{a=null b=null}", kOk, 1},
      {"mixed array of none", "08 00000000 =a 05 000009", "t8{}", kOk, 7},
      {"mixed array ended at once", "08 FFFFFFFF 000009", "t8{}", kOk},
      {"mixed array that declares too much",
       "08 FFFFFFFF =a 05 =b 05 =c 05 =d 05 =e 05 =f 05 =g 05 =h 05 =i 00 #9 "
       "000009",
       "t8{a=null b=null c=null d=null e=null f=null g=null h=null i=9}", kOk},
      {"mixed array with an end under a name", "08 00000002 =a 09 =b 05", "t8{a=end b=null}", kOk},
      {"mixed array with a refused value", "08 00000002 =a 11 05", "t8{a=t17{} ?=0}", kFailed, 1},
      {"mixed array without a count", "08 000000", "t8{}", kFailed, 3},

      {"array", "0A 00000003 05 00 #2 02 =x 05", "t10{null 2 'x'}", kOk, 1},
      {"array with a refused element", "0A 00000003 05 10 05", "t10{null t16{} 0}", kFailed, 1},
      {"array without a count", "0A 0000", "t10{}", kFailed, 2},
      {"a failure below passes through all", "0A 00000001 03 =a 08 00000001 =b 02 0009 61", "t10{t3{}}", kFailed, 1},

      {"object in place of another", "03 =c 05", "t3{c=null}", kOk, 0, old},
      {"object that fails and leaves the other", "03 =c 12", "t3{a=1 b=null =end}", kFailed, 0, old},
      {"mixed array in place of an object", "08 00000001 =c 05", "t8{c=null}", kOk, 0, old},
      {"array in place of an object", "0A 00000000", "t10{}", kOk, 0, old},
      {"string in place of an object", "02 =text", "'text'", kOk, 0, old},
  };
  for (const auto& row : cases) {
    AMFValue value;
    const Status before = row.before == nullptr ? kOk : Decode(BytesOf(row.before), value);
    EXPECT_EQ(kOk, before) << row.name;
    const Bytes bytes = BytesOf(row.bytes);
    AMFInput input{ByteCursor(bytes)};
    EXPECT_EQ(row.status, value.ReadValue(input)) << row.name;
    EXPECT_EQ(row.tree, Text(value)) << row.name;
    EXPECT_EQ(row.remaining, input.cursor.remaining) << row.name;
    EXPECT_EQ(0U, input.depth) << row.name;
    value.Clear();
    EXPECT_EQ("0", Text(value)) << row.name;
    EXPECT_EQ(0U, value.m_ulNameCount + value.m_ulValueCount) << row.name;
  }
}

TEST(AMFValue, FindProperty_GivesTheFirstEntryOfExactlyThatName) {
  const char* const object = "03 =a 00 #1 =b 05 =a 00 #2 = 09";
  const struct {
    const char* name;
    const char* bytes;
    const char* property;
    const char* found;
  } cases[] = {
      {"first of two", object, "a", "1"},
      {"empty name", object, "", "end"},
      {"other case", object, "A", nullptr},
      {"no name", object, nullptr, nullptr},
      {"in a mixed array", "08 00000001 =a 00 #3", "a", "3"},
      {"in an array", "0A 00000001 05", "a", nullptr},
      {"name with a NUL", "08 00000001 0003 610062 00 #4", "a", "4"},
      {"in what is none", "02 =a", "a", nullptr},
  };
  for (const auto& row : cases) {
    AMFValue value;
    ASSERT_EQ(kOk, Decode(BytesOf(row.bytes), value)) << row.name;
    const AMFValue* found = nullptr;
    const bool expected = row.found != nullptr;
    ASSERT_EQ(expected ? kOk : kFailed, value.FindProperty(row.property, &found)) << row.name;
    EXPECT_EQ(expected ? row.found : "", found == nullptr ? "" : Text(*found)) << row.name;
    EXPECT_EQ(kFailed, value.FindProperty(row.property, nullptr)) << row.name;
  }
}

TEST(AMFValue, Accessors_OfEntriesThatAreNotThere_GiveNothing) {
  AMFValue empty;
  EXPECT_TRUE(empty.GetName(0) == nullptr && empty.GetValue(0) == nullptr);
  EXPECT_TRUE(empty.GetValueType(0) == kAMFNoValue && empty.GetValueNumber(0) == 0);

  // Two entries of more, of which the second is refused. The count fits the bytes in the first and not in the second.
  for (const char* bytes :
       {"08 0000000A =a 00 #6 =b 11 00000000000000000000000000000000000000000000", "08 FFFFFFFF =a 00 #6 =b 11"}) {
    SCOPED_TRACE(bytes);
    AMFValue value;
    EXPECT_EQ(kFailed, Decode(BytesOf(bytes), value));
    const std::uint32_t count = value.m_ulValueCount;
    EXPECT_EQ(count, value.m_ulNameCount);
    EXPECT_TRUE(count == 10 || count == 0xFFFFFFFF);
    EXPECT_STREQ("b", value.GetName(1));
    EXPECT_EQ(6.0, value.GetValueNumber(0));
    EXPECT_EQ(17, value.GetValueType(1));
    const AMFValue* found = nullptr;
    EXPECT_EQ(kOk, value.FindProperty("b", &found));
    EXPECT_EQ(kFailed, value.FindProperty("c", &found));
    for (const std::uint32_t index : {2U, 9U, count - 1}) {
      const AMFValue* const node = value.GetValue(index);
      EXPECT_TRUE(node == nullptr || Text(*node) == "0") << index;
      EXPECT_TRUE(value.GetName(index) == nullptr && value.GetValueType(index) == kAMFNumber) << index;
    }
    EXPECT_LE(value.GetNamedCount(), 16U) << "a walk over the names is short";
    EXPECT_TRUE(value.GetValue(count) == nullptr && value.GetValueType(count) == kAMFNoValue);
  }
}

/// The head, and the piece so many times.
Bytes Filled(const char* head, const Bytes& piece, std::size_t times) {
  Bytes bytes = BytesOf(head);
  for (std::size_t i = 0; i < times; ++i) bytes.insert(bytes.end(), piece.begin(), piece.end());
  return bytes;
}

TEST(AMFMemory, OfATagsTree_IsBounded) {
  test::WatchNothrow();
  Bytes text = BytesOf("0C 00E4E1C0");
  text.resize(text.size() + 15'000'000, 'x');
  Bytes object = Filled("03", BytesOf("= 05"), 100'000);
  object.insert(object.end(), {0, 0, 9});
  const struct {
    const char* name;
    Bytes bytes;
    Status status;
  } cases[] = {
      {"elements within", Filled("0A 000C3500", BytesOf("05"), 800'000), kOk},
      {"elements beyond", Filled("0A 001E8480", BytesOf("05"), 2'000'000), kOutOfMemory},
      {"object beyond", Filled("03", BytesOf("= 05"), 600'000), kOutOfMemory},
      {"unbelievable array beyond", Filled("0A FFFFFFFF", BytesOf("05"), 2'000'000), kOutOfMemory},
      {"unbelievable mixed array beyond", Filled("08 FFFFFFFF", BytesOf("= 05"), 600'000), kOutOfMemory},
      {"arrays of 4 billion in each other", Filled("", BytesOf("0A FFFFFFFF"), 4), kFailed},
      {"texts within", Filled("0A 00000004", text, 4), kOk},
      {"texts beyond", Filled("0A 00000005", text, 5), kOutOfMemory},
      // What arrays gave back as they grew and were cut to size is there for the next ones.
      {"objects within", Filled("0A 00000003", object, 3), kOk},
      {"objects beyond", Filled("0A 00000005", object, 5), kOutOfMemory},
      {"a failed object", BytesOf("03 =a 02 =text =b 0A 00000002 05 05 =c 12"), kFailed},
  };
  for (const auto& row : cases) {
    const std::int64_t before = test::ReadLibraryHeap().bytes;
    test::ForgetPeak();
    AMFInput input{ByteCursor(row.bytes)};
    AMFValue value;
    EXPECT_EQ(row.status, value.ReadValue(input)) << row.name;
    EXPECT_LE(test::ReadLibraryHeap().peakBytes - before, AMFInput::kMaxTreeBytes) << row.name;
    EXPECT_LE(test::ReadLibraryHeap().bytes - before, AMFInput::kMaxTreeBytes - input.memoryLeft) << row.name;
    value.Clear();
    EXPECT_EQ(before, test::ReadLibraryHeap().bytes) << row.name;
  }
}

TEST(AMFDepth, Containers_NestTo128LevelsOnASmallStackAndNoDeeper) {
  const std::pair<const char*, Status> kinds[] = {
      {"0A 00000001", kOk},
      {"08 00000001 =", kOk},
      {"03 =", kOk},
      // A count of 4 billion fails in any case: the bytes end before.
      {"0A FFFFFFFF", kFailed},
  };
  for (const auto& [kind, within] : kinds) {
    for (const std::uint32_t levels : {AMFInput::kMaxDepth, AMFInput::kMaxDepth + 1, 20000U}) {
      Bytes bytes = Filled("", BytesOf(kind), levels);
      bytes.push_back(kAMFNull);
      Status status = kOk;
      test::RunOnASmallStack([&] {
        AMFInput input{ByteCursor(bytes)};
        AMFValue value;
        status = value.ReadValue(input);
      });
      EXPECT_EQ(levels > AMFInput::kMaxDepth ? kFailed : within, status) << levels << " of " << kind;
    }
  }
}

}  // namespace
}  // namespace qbflv
