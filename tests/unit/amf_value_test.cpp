// AMF0 values: what bytes decode into, and how a tree is asked.
#include "plugin/meta/amf_value.h"

#include <gtest/gtest.h>

#include <sstream>
#include <string>
#include <vector>

#include "tests/unit/byte_text.h"
#include "tests/unit/heap_probe.h"

namespace qbflv {
namespace {

using Bytes = std::vector<std::uint8_t>;

void Describe(const AMFValue& value, std::ostream& out);

void DescribeValues(const AMFValue& value, bool named, std::ostream& out) {
  for (std::uint32_t i = 0; i < value.m_ulValueCount; ++i) {
    const char* const name = value.GetName(i);
    out << (i > 0 ? " " : "");
    if (named) out << (name == nullptr ? "?" : name) << '=';
    Describe(*value.GetValue(i), out);
  }
}

/// A tree as text: numbers, true, 'text', null, end, {name=value}, [name=value] for a MixedArray, (element), and tN for
/// the other types.
void Describe(const AMFValue& value, std::ostream& out) {
  switch (value.m_ucType) {
    case kAMFNumber:
      out << value.m_dNumber;
      break;
    case kAMFBoolean:
      out << (value.m_bBoolean != 0 ? "true" : "false");
      break;
    case kAMFString:
    case kAMFLongString:
      out << '\'' << (value.m_pszString == nullptr ? "?" : value.m_pszString.get()) << '\'';
      break;
    case kAMFNull:
      out << "null";
      break;
    case kAMFEndOfObject:
      out << "end";
      break;
    case kAMFObject:
      out << '{';
      DescribeValues(value, true, out);
      out << '}';
      break;
    case kAMFMixedArray:
      out << '[';
      DescribeValues(value, true, out);
      out << ']';
      break;
    case kAMFArray:
      out << '(';
      DescribeValues(value, false, out);
      out << ')';
      break;
    default:
      out << 't' << int{value.m_ucType};
      break;
  }
}

std::string Text(const AMFValue& value) {
  std::ostringstream out;
  Describe(value, out);
  return out.str();
}

Status Decode(const Bytes& bytes, AMFValue& value) {
  AMFInput input{ByteCursor(bytes)};
  return value.ReadValue(input);
}

struct Case {
  const char* name;
  const char* bytes;
  const char* tree;
  Status status;
  std::uint32_t remaining = 0;
};

TEST(AMFValue, Bytes_DecodeIntoTheTreeOrFailWhereTheyGoWrong) {
  const Case cases[] = {
      {"number", "00 #1000", "1000", kOk},
      {"number, short", "00 408F4000000000", "0", kFailed, 7},
      {"boolean", "01 02", "true", kOk},
      {"boolean, none", "01", "false", kFailed},
      {"string", "02 =abc 05", "'abc'", kOk, 1},
      {"string, empty", "02 =", "''", kOk},
      {"string, one byte short", "02 000A 313233343536373839", "'?'", kFailed, 9},
      {"long string", "0C 00000003 616263", "'abc'", kOk},
      {"long string, far too long", "0C FFFFFFFF 616263", "'?'", kFailed, 3},
      {"date", "0B #5 FFC4", "t11", kOk},
      {"date without a zone", "0B #5 FF", "t11", kFailed, 1},
      {"null", "05 05", "null", kOk, 1},
      {"undefined", "06", "t6", kOk},
      {"unsupported", "0D", "t13", kOk},
      {"end of object", "09", "end", kOk},
      {"nothing", "", "0", kFailed},
      {"movie clip", "04 00", "t4", kFailed, 1},
      {"reference", "07 0000", "t7", kFailed, 2},

      {"object", "03 =a 00 #1 =b 02 =x = 09 77", "{a=1 b='x' =end}", kOk, 1},
      {"object that holds nothing", "03 = 09", "{=end}", kOk},
      {"object without bytes", "03", "{}", kFailed},
      {"object without an end", "03 =a 05 =b 05", "{a=null b=null}", kOk},
      {"object that ends in a name", "03 =a 05 0005 62", "{}", kFailed, 1},
      {"object that ends after a name", "03 =a 05 =b", "{}", kFailed},
      {"object with a refused value", "03 =a 05 =b 12 05", "{}", kFailed, 1},
      {"object ended under a name", "03 =a 05 =z 09 05", "{a=null z=end}", kOk, 1},
      {"object of eight", "03 =a 05 =b 05 =c 05 =d 05 =e 05 =f 05 =g 05 = 09",
       "{a=null b=null c=null d=null e=null f=null g=null =end}", kOk},
      {"object that grows with what it owns",
       "03 =a 02 =A =b 0A 00000002 05 01 01 =c 05 =d 05 =e 05 =f 05 =g 05 =h 05 "
       "=i 03 =x 00 #7 = 09 = 09",
       "{a='A' b=(null true) c=null d=null e=null f=null g=null h=null i={x=7 =end} =end}", kOk},

      {"mixed array", "08 00000002 =a 00 #1 =b 05 000009", "[a=1 b=null]", kOk, 3},
      {"mixed array ended early", "08 00000005 =a 05 =b 05 000009 05", "[a=null b=null]", kOk, 1},
      {"mixed array of none", "08 00000000 =a 05 000009", "[]", kOk, 7},
      {"mixed array ended at once", "08 FFFFFFFF 000009", "[]", kOk},
      {"mixed array that declares too much",
       "08 FFFFFFFF =a 05 =b 05 =c 05 =d 05 =e 05 =f 05 =g 05 =h 05 =i 00 #9 "
       "000009",
       "[a=null b=null c=null d=null e=null f=null g=null h=null i=9]", kOk},
      {"mixed array with an end under a name", "08 00000002 =a 09 =b 05", "[a=end b=null]", kOk},
      {"mixed array cut off", "08 00000003 =a 05 =b", "[a=null b=0 ?=0]", kFailed},
      {"mixed array with a refused value", "08 00000002 =a 11 05", "[a=t17 ?=0]", kFailed, 1},
      {"mixed array without a count", "08 000000", "[]", kFailed, 3},

      {"array", "0A 00000003 05 00 #2 02 =x 05", "(null 2 'x')", kOk, 1},
      {"array of none", "0A 00000000 05", "()", kOk, 1},
      {"array cut off", "0A 00000003 05 01 01", "(null true 0)", kFailed},
      {"array with a refused element", "0A 00000003 05 10 05", "(null t16 0)", kFailed, 1},
      {"array without a count", "0A 0000", "()", kFailed, 2},
      {"a failure below passes through all", "0A 00000001 03 =a 08 00000001 =b 02 0009 61", "({})", kFailed, 1},
  };
  for (const Case& row : cases) {
    const Bytes bytes = BytesOf(row.bytes);
    AMFInput input{ByteCursor(bytes)};
    AMFValue value;
    EXPECT_EQ(row.status, value.ReadValue(input)) << row.name;
    EXPECT_EQ(row.tree, Text(value)) << row.name;
    EXPECT_EQ(row.remaining, input.cursor.remaining) << row.name;
    EXPECT_EQ(0U, input.depth) << row.name;
    value.Clear();
    EXPECT_EQ("0", Text(value)) << row.name;
    EXPECT_EQ(0U, value.m_ulNameCount + value.m_ulValueCount) << row.name;
  }
}

TEST(AMFValue, MarkersFrom14On_AreRefusedWithoutABody) {
  for (std::uint32_t marker = 14; marker < 256; ++marker) {
    const Bytes bytes = {static_cast<std::uint8_t>(marker), 0, 0, 0, 0};
    AMFInput input{ByteCursor(bytes)};
    AMFValue value;
    EXPECT_EQ(kFailed, value.ReadValue(input)) << marker;
    EXPECT_EQ(4U, input.cursor.remaining) << marker;
  }
}

TEST(AMFValue, DateAndText_AreStoredWhole) {
  AMFValue date;
  ASSERT_EQ(kOk, Decode(BytesOf("0B #-5.5 FFC4"), date));
  EXPECT_EQ(-5.5, date.m_dNumber);
  EXPECT_EQ(0xFFC4, date.m_usTimeZone);
  AMFValue text;
  ASSERT_EQ(kOk, Decode(BytesOf("02 0003 610062"), text));
  EXPECT_EQ(std::string("a\0b\0", 4), std::string(text.m_pszString.get(), 4));
}

TEST(AMFValue, FindProperty_AnswersTheFirstEntryOfExactlyThatName) {
  struct FindCase {
    const char* name;
    const char* bytes;
    const char* property;
    const char* found;
  };
  const char* const object = "03 =a 00 #1 =b 05 =a 00 #2 = 09";
  const FindCase cases[] = {
      {"first of two", object, "a", "1"},
      {"empty name", object, "", "end"},
      {"other case", object, "A", nullptr},
      {"longer", object, "ab", nullptr},
      {"no name", object, nullptr, nullptr},
      {"in a mixed array", "08 00000001 =a 00 #3", "a", "3"},
      {"in a mixed array ended early", "08 00000009 =a 00 #3 000009", "a", "3"},
      {"in an empty mixed array", "08 00000000", "a", nullptr},
      {"in an array", "0A 00000001 05", "a", nullptr},
      {"name with a NUL", "08 00000001 0003 610062 00 #4", "a", "4"},
      {"in what is none", "02 =a", "a", nullptr},
  };
  for (const FindCase& row : cases) {
    AMFValue value;
    ASSERT_EQ(kOk, Decode(BytesOf(row.bytes), value)) << row.name;
    const AMFValue* found = nullptr;
    const bool expected = row.found != nullptr;
    ASSERT_EQ(expected ? kOk : kFailed, value.FindProperty(row.property, &found)) << row.name;
    EXPECT_EQ(expected ? row.found : "", found == nullptr ? "" : Text(*found)) << row.name;
    EXPECT_EQ(kFailed, value.FindProperty(row.property, nullptr)) << row.name;
  }
}

TEST(AMFValue, FindProperty_CountsThatDiffer_FindNothing) {
  AMFValue value;
  ASSERT_EQ(kOk, Decode(BytesOf("08 00000002 =a 05 =b 05"), value));
  value.m_ulValueCount = 1;
  const AMFValue* found = nullptr;
  EXPECT_EQ(kFailed, value.FindProperty("a", &found));
}

TEST(AMFValue, FindNumber_TakesNumbersOnly) {
  AMFValue value;
  ASSERT_EQ(kOk, Decode(BytesOf("03 =n 00 #2.5 =s 02 =7 =d 0B #7 0000"), value));
  double number = 77.0;
  for (const char* other : {"s", "d", "missing"}) EXPECT_EQ(kFailed, value.FindNumber(other, &number)) << other;
  EXPECT_EQ(77.0, number);
  EXPECT_EQ(kFailed, value.FindNumber("n", nullptr));
  EXPECT_EQ(kOk, value.FindNumber("n", &number));
  EXPECT_EQ(2.5, number);
}

TEST(AMFValue, Accessors_AnswerForEntriesThatAreNotThere) {
  AMFValue empty;
  EXPECT_EQ(nullptr, empty.GetName(0));
  EXPECT_EQ(nullptr, empty.GetValue(0));
  EXPECT_EQ(18, empty.GetValueType(0));
  EXPECT_EQ(0.0, empty.GetValueNumber(0));

  // Ten entries, of which the second is refused. The count fits the bytes in the first and not in the second.
  for (const char* bytes : {"08 0000000A =a 00 #6 =b 11 "
                            "00000000000000000000000000000000000000000000",
                            "08 FFFFFFFF =a 00 #6 =b 11"}) {
    AMFValue value;
    EXPECT_EQ(kFailed, Decode(BytesOf(bytes), value)) << bytes;
    const std::uint32_t count = value.m_ulValueCount;
    EXPECT_EQ(count, value.m_ulNameCount) << bytes;
    EXPECT_TRUE(count == 10 || count == 0xFFFFFFFF) << bytes;
    EXPECT_STREQ("a", value.GetName(0)) << bytes;
    EXPECT_STREQ("b", value.GetName(1)) << bytes;
    EXPECT_EQ(6.0, value.GetValueNumber(0)) << bytes;
    EXPECT_EQ(17, value.GetValueType(1)) << bytes;
    const AMFValue* found = nullptr;
    EXPECT_EQ(kOk, value.FindProperty("b", &found)) << bytes;
    EXPECT_EQ(kFailed, value.FindProperty("c", &found)) << bytes;
    for (const std::uint32_t index : {2U, 9U, count - 1}) {
      EXPECT_EQ(nullptr, value.GetName(index)) << index << " of " << bytes;
      const AMFValue* const node = value.GetValue(index);
      EXPECT_TRUE(node == nullptr || Text(*node) == "0") << index << " of " << bytes;
      EXPECT_EQ(0, value.GetValueType(index)) << index << " of " << bytes;
      EXPECT_EQ(0.0, value.GetValueNumber(index)) << index << " of " << bytes;
    }
    EXPECT_LE(value.GetNamedCount(), 16U) << "a walk over the names is short: " << bytes;
    EXPECT_EQ(nullptr, value.GetValue(count)) << bytes;
    EXPECT_EQ(18, value.GetValueType(count)) << bytes;
  }
}

TEST(AMFValue, DecodedAgain_KeepsWhatTheNewBodyDoesNotReplace) {
  AMFValue value;
  ASSERT_EQ(kOk, Decode(BytesOf("03 =a 00 #1 =b 00 #2"), value));
  // A failed Object leaves the entries of the one before.
  EXPECT_EQ(kFailed, Decode(BytesOf("03 =c 05 =d"), value));
  EXPECT_EQ("{a=1 b=2}", Text(value));
  // An Array takes the values and leaves the names.
  EXPECT_EQ(kOk, Decode(BytesOf("0A 00000003 05 05 05"), value));
  EXPECT_EQ("(null null null)", Text(value));
  EXPECT_EQ(2U, value.m_ulNameCount);
  EXPECT_STREQ("b", value.GetName(1));
  // A length that cannot be read leaves the text, one that can replaces it.
  EXPECT_EQ(kOk, Decode(BytesOf("02 =old"), value));
  EXPECT_EQ(kFailed, Decode(BytesOf("02 00"), value));
  EXPECT_EQ("'old'", Text(value));
  EXPECT_EQ(kFailed, Decode(BytesOf("02 0002 61"), value));
  EXPECT_EQ("'?'", Text(value));
  EXPECT_EQ(kOk, Decode(BytesOf("08 00000001 =z 00 #9"), value));
  EXPECT_EQ("[z=9]", Text(value));
}

/// All kinds of values, nested, with an Object and an unbelievable MixedArray that grow.
Bytes RichValue() {
  return BytesOf(
      "08 00000006 =text 02 =abc =list 0A 00000003 00 #1 01 01 0C 00000002 6869 =when 0B #3 0000 "
      "=object 03 =a 05 =b 02 =x =c 05 =d 05 =e 05 =f 05 =g 05 =h 05 =i 0A 00000001 02 =deep = 09 "
      "=mixed 08 FFFFFFFF =a 02 =1 =b 05 =c 05 =d 05 =e 05 =f 05 =g 05 =h 05 =i 02 =9 000009 =last 06");
}

TEST(AMFValue, EveryPrefix_FailsWithoutReadingPastIt) {
  const Bytes whole = RichValue();
  for (std::size_t length = 0; length < whole.size(); ++length) {
    // A block of exactly that size, which a sanitizer watches.
    const Bytes prefix(whole.begin(), whole.begin() + static_cast<std::ptrdiff_t>(length));
    AMFValue value;
    EXPECT_EQ(kFailed, Decode(prefix, value)) << length;
  }
  AMFValue value;
  EXPECT_EQ(kOk, Decode(whole, value));
}

TEST(AMFValue, EveryRefusedAllocation_EndsWithOutOfMemoryAndATreeThatCanBeAsked) {
  const Bytes whole = RichValue();
  std::size_t allowed = 0;
  for (bool refused = true; refused; ++allowed) {
    AMFValue value;
    const HeapProbe heap(allowed);
    const Status status = Decode(whole, value);
    refused = heap.HasRefused();
    EXPECT_EQ(refused ? kOutOfMemory : kOk, status) << allowed;
    const AMFValue* found = nullptr;
    EXPECT_EQ(refused ? kFailed : kOk, value.FindProperty("last", &found)) << allowed;
    for (std::uint32_t i = 1; i < value.m_ulNameCount; ++i) {
      EXPECT_TRUE(value.GetName(i) == nullptr || value.GetName(i - 1) != nullptr) << allowed;
    }
    value.Clear();
    EXPECT_EQ(0U, heap.LiveBytes()) << allowed;
  }
  EXPECT_GT(allowed, 20U);
}

}  // namespace
}  // namespace qbflv
