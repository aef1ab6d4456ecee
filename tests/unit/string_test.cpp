// Strings: sharing, growth, parts and fields.
#include "plugin/util/string.h"

#include <gtest/gtest.h>

#include <string>

#include "tests/support/library_heap.h"

namespace qbflv {
namespace {

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

TEST(String, ChangingASharedTextWithoutMemory_FailsAndKeepsIt) {
  test::WatchNothrow();
  const CQBString original(" AbC ");
  CQBString copy = original;
  const test::HeapShortage shortage(1, test::Shortage::kReturnsNull, true);
  EXPECT_FALSE(copy.Assign("x") || copy.Append("x") || copy.TrimRight() || copy.MakeLower() || copy.Reserve(100));
  EXPECT_STREQ(copy.GetText(), " AbC ");
}

TEST(String, PartsOfIt_AreClippedToItsLength) {
  const CQBString text("abcab");
  const std::pair<std::string_view, std::string_view> cases[] = {
      {text.Left(2), "ab"},
      {text.Right(2), "ab"},
      {text.Right(UINT32_MAX), "abcab"},
      {text.Middle(1, 3), "bca"},
      {text.Middle(3, UINT32_MAX), "ab"},
      {text.Middle(UINT32_MAX, 1), ""},
      {text.From(4), "b"},
      {text.From(6), ""},
  };
  for (const auto& [part, expected] : cases) EXPECT_EQ(part, expected);
  EXPECT_TRUE(text.Find('b') == 1 && text.FindLast('b') == 4 && text.FindLast('x') == -1);
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

}  // namespace
}  // namespace qbflv
