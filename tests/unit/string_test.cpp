// Strings: sharing, growth, parts of themselves, fields; and the number conversion of texts.
#include "plugin/util/string.h"

#include <gtest/gtest.h>

#include <string>

#include "plugin/util/text.h"
#include "tests/unit/heap_probe.h"

namespace qbflv {
namespace {

TEST(String, Empty_ReadsAsTheEmptyTextAndHasNoParts) {
  CQBString text;
  EXPECT_STREQ(text.GetText(), "");
  EXPECT_EQ(text.Find('a'), -1);
  EXPECT_EQ(text.Right(3), "");
  EXPECT_EQ(text.CountFields('&'), 0u);
  EXPECT_TRUE(text.TrimLeft() && text.TrimRight() && text.MakeLower() && text.Append(CQBString()));
  EXPECT_TRUE(text.IsEmpty());
}

TEST(String, ChangingACopyOrItsOriginal_ShowsInNoOther) {
  struct {
    const char* name;
    bool (*change)(CQBString&);
    const char* result;
  } const cases[] = {
      {"assign", [](CQBString& s) { return s.Assign("x"); }, "x"},
      {"assign nothing", [](CQBString& s) { return s.Assign(""); }, ""},
      {"assign a part of itself", [](CQBString& s) { return s.Assign(s.From(2)); }, "bC "},
      {"append a text", [](CQBString& s) { return s.Append("de"); }, " AbC de"},
      {"append a string", [](CQBString& s) { return s.Append(CQBString("f")); }, " AbC f"},
      {"append itself", [](CQBString& s) { return s.Append(s); }, " AbC  AbC "},
      {"append a character", [](CQBString& s) { return s.Append('!'); }, " AbC !"},
      {"append a number", [](CQBString& s) { return s.AppendNumber(INT32_MIN); }, " AbC -2147483648"},
      {"trim left", [](CQBString& s) { return s.TrimLeft(); }, "AbC "},
      {"trim right", [](CQBString& s) { return s.TrimRight(); }, " AbC"},
      {"lower", [](CQBString& s) { return s.MakeLower(); }, " abc "},
  };
  for (const auto& c : cases) {
    for (const bool shared : {true, false}) {
      CQBString original(" AbC ");
      CQBString copy(shared ? original : CQBString(" AbC "));
      EXPECT_TRUE(c.change(original)) << c.name;
      EXPECT_STREQ(original.GetText(), c.result) << c.name;
      EXPECT_STREQ(copy.GetText(), " AbC ") << c.name;
    }
  }
}

TEST(String, AppendingItselfBeyondItsRoom_ReadsFromTheOldCharacters) {
  CQBString text("abc");
  std::string expected("abc");
  for (int i = 0; i < 12; ++i) {
    ASSERT_TRUE(text.Append(text));
    expected += expected;
    ASSERT_EQ(text.GetView(), expected);
  }
}

TEST(String, PartsOfIt_AreClippedToItsLength) {
  const CQBString text("abcab");
  EXPECT_EQ(text.Left(2), "ab");
  EXPECT_EQ(text.Left(9), "abcab");
  EXPECT_EQ(text.Right(2), "ab");
  EXPECT_EQ(text.Right(UINT32_MAX), "abcab");
  EXPECT_EQ(text.Middle(1, 3), "bca");
  EXPECT_EQ(text.Middle(3, UINT32_MAX), "ab");
  EXPECT_EQ(text.Middle(UINT32_MAX, 1), "");
  EXPECT_EQ(text.From(4), "b");
  EXPECT_EQ(text.From(6), "");
  EXPECT_EQ(text.Find('b'), 1);
  EXPECT_EQ(text.FindLast('b'), 4);
  EXPECT_EQ(text.FindLast('x'), -1);
}

TEST(String, Fields_AreCountedFromOneAndMayBeEmpty) {
  const CQBString text("a&&b");
  EXPECT_EQ(text.CountFields('&'), 3u);
  EXPECT_EQ(text.CountFields(';'), 1u);
  const char* const fields[] = {"", "a", "", "b", ""};
  for (std::uint32_t i = 0; i < std::size(fields); ++i) EXPECT_EQ(text.GetField(i, '&'), fields[i]) << i;
}

TEST(String, GrowthRule_IsAskedOnlyForMoreAndNeverFollowedBelowTheNeed) {
  EXPECT_EQ(CQBString::DoubleCapacity(16, 33), 64u);
  EXPECT_EQ(CQBString::DoubleCapacity(0, 1), 16u);
  EXPECT_GE(CQBString::DoubleCapacity(0x60000000, 0x7FFFFFFF), 0x7FFFFFFFu);

  static int asked = 0;
  asked = 0;
  CQBString text("start", [](std::uint32_t, std::uint32_t) {
    ++asked;
    return std::uint32_t{1};
  });
  ASSERT_TRUE(text.Append(" and a text longer than any small buffer"));
  EXPECT_STREQ(text.GetText(), "start and a text longer than any small buffer");
  EXPECT_EQ(asked, 2);
  ASSERT_TRUE(text.Reserve(1000));
  const char* const buffer = text.GetText();
  ASSERT_TRUE(text.Append(std::string(900, 'x')));
  EXPECT_EQ(text.GetText(), buffer);
  EXPECT_EQ(asked, 3);
}

TEST(String, WithoutMemory_ChangesFailAndKeepTheText) {
  const CQBString original("Original ");
  const std::string longer(100, 'x');
  struct {
    const char* name;
    bool (*change)(CQBString&, const std::string&);
  } const cases[] = {
      {"assign", [](CQBString& s, const std::string& text) { return s.Assign(text); }},
      {"append", [](CQBString& s, const std::string& text) { return s.Append(text); }},
      {"reserve", [](CQBString& s, const std::string&) { return s.Reserve(100); }},
      {"trim", [](CQBString& s, const std::string&) { return s.TrimRight(); }},
      {"lower", [](CQBString& s, const std::string&) { return s.MakeLower(); }},
      {"too long", [](CQBString& s, const std::string&) { return s.Reserve(0x7FFFFFFF); }},
  };
  for (const auto& c : cases) {
    for (const std::size_t allowed : {0u, 1u}) {
      CQBString text = original;
      const HeapProbe heap(allowed);
      EXPECT_FALSE(c.change(text, longer)) << c.name << ", " << allowed << " allocations";
      EXPECT_STREQ(text.GetText(), "Original ") << c.name;
    }
  }
  const HeapProbe heap(1);
  EXPECT_TRUE(CQBString("lost").IsEmpty());
}

TEST(Text, ToInteger_ReadsAsAtolWithinTheRangeOfA32BitProperty) {
  struct {
    const char* text;
    std::int64_t value;
  } const cases[] = {
      {"", 0},
      {"x1", 0},
      {" \t\r\n\v\f+12.9", 12},
      {"-7x", -7},
      {"- 7", 0},
      {"+-7", 0},
      {"0012", 12},
      {"4294967295", 4294967295},
      {"4294967296", 4294967295},
      {"99999999999999999999999999", 4294967295},
      {"-2147483648", -2147483648LL},
      {"-99999999999999999999999999", -2147483648LL},
      {"\xB2", 0},
  };
  for (const auto& c : cases) EXPECT_EQ(ToInteger(c.text), c.value) << c.text;
}

}  // namespace
}  // namespace qbflv
