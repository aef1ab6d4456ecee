// The lists: random changes beside a vector of the positions, and what their ends do.
#include "plugin/util/simple_list.h"

#include <gtest/gtest.h>

#include <random>
#include <string>
#include <vector>

#include "plugin/util/string_list.h"
#include "tests/support/library_heap.h"

namespace qbflv {
namespace {

using Position = CQBSimpleList::Position;

TEST(SimpleList, RandomInsertionsAndRemovals_KeepTheOrder) {
  std::mt19937 random(7);
  std::vector<int> numbers(400);
  CQBSimpleList list;
  std::vector<Position> model;
  for (int& number : numbers) {
    const auto at = model.begin() + static_cast<std::ptrdiff_t>(model.empty() ? 0 : random() % model.size());
    Position inserted = nullptr;
    switch (model.empty() ? 0 : random() % 6) {
      case 0:
        model.insert(model.begin(), inserted = list.InsertBefore(nullptr, &number));
        break;
      case 1:
        model.push_back(inserted = list.InsertAfter(nullptr, &number));
        break;
      case 2:
        model.insert(at, inserted = list.InsertBeforeIterator({*at}, &number));
        break;
      case 3:
        model.insert(at + 1, inserted = list.InsertAfterIterator({*at}, &number));
        break;
      case 4: {
        const Position neighbour = list.RemoveAt(*at);
        const auto next = model.erase(at);
        EXPECT_EQ(neighbour, next != model.end() ? *next : model.empty() ? nullptr : model.back());
        break;
      }
      default: {
        CQBSimpleList::Iterator iterator{*at};
        list.RemoveAtIterator(iterator);
        const auto next = model.erase(at);
        EXPECT_EQ(iterator.position, next != model.end() ? *next : nullptr);
      }
    }
    ASSERT_EQ(list.Find(&number, nullptr), inserted);
    ASSERT_TRUE(list.IsValid());
    ASSERT_EQ(static_cast<std::size_t>(list.GetCount()), model.size());
    std::vector<Position> forwards;
    for (Position position = list.GetHead(); position != nullptr; CQBSimpleList::GetNext(position)) {
      forwards.push_back(position);
    }
    std::vector<Position> backwards;
    for (Position node = list.GetTail(); node != nullptr; node = node->previous) backwards.push_back(node);
    ASSERT_EQ(forwards, model);
    ASSERT_EQ(backwards, std::vector<Position>(model.rbegin(), model.rend()));
  }
  EXPECT_EQ(list.Find(CQBSimpleList::GetAt(list.GetHead()), list.GetTail()), nullptr) << "a search from the tail";
  list.RemoveAll();
  EXPECT_TRUE(list.IsValid() && list.GetCount() == 0 && list.GetHead() == nullptr);
  EXPECT_EQ(list.RemoveAt(nullptr), nullptr);
  CQBSimpleList::Iterator none;
  list.RemoveAtIterator(none);
}

TEST(SimpleList, IsValid_ComparesTheCountWithTheEnds) {
  struct OpenList : CQBSimpleList {
    bool IsValidWith(std::int32_t count, Position head, Position tail) {
      m_lCount = count;
      m_pHead = head;
      m_pTail = tail;
      const bool isValid = IsValid();
      m_pHead = m_pTail = nullptr;
      return isValid;
    }
  } list;
  CQBSimpleList::Node a;
  CQBSimpleList::Node b;
  EXPECT_TRUE(list.IsValidWith(0, nullptr, nullptr) && list.IsValidWith(1, &a, &a) && list.IsValidWith(2, &a, &b));
  EXPECT_FALSE(list.IsValidWith(1, nullptr, nullptr) || list.IsValidWith(0, &a, &b) || list.IsValidWith(1, &a, &b));
  EXPECT_FALSE(list.IsValidWith(2, nullptr, &b) || list.IsValidWith(2, &a, nullptr));
}

std::string Texts(const CQBStringList& list) {
  std::string texts;
  for (auto* node = list.GetHead(); node != nullptr; node = node->next) {
    texts += CQBStringList::GetStringAt(node).GetText() + std::string(";");
  }
  return texts;
}

TEST(StringList, EveryWayOfRemoving_DestroysTheStringsAndKeepsTheOthers) {
  CQBStringList list;
  for (const char* text : {"a", "", "c", "d", "e"}) ASSERT_TRUE(list.AddTail(text));
  list.RemoveTail();
  EXPECT_EQ(Texts(list), "a;;c;d;");
  list.RemoveAt(list.GetHead());
  CQBSimpleList::Iterator iterator{list.GetHead()->next};
  list.RemoveAtIterator(iterator);
  EXPECT_EQ(Texts(list), ";d;");
  list.RemoveAll();
  list.RemoveTail();
  list.RemoveAtIterator(iterator = {});
  ASSERT_TRUE(list.AddTail("left to the destructor"));
}

TEST(StringList, AddingWithoutMemory_LeavesTheListAsItWas) {
  test::WatchNothrow();
  int failures = 0;
  for (bool hasFailed = true; hasFailed; failures += hasFailed ? 1 : 0) {
    CQBStringList list;
    ASSERT_TRUE(list.AddTail("a"));
    const test::HeapShortage shortage(failures + 1, test::Shortage::kReturnsNull, true);
    hasFailed = !list.AddTail("b");
    EXPECT_EQ(hasFailed, shortage.Struck());
    EXPECT_EQ(Texts(list), hasFailed ? "a;" : "a;b;");
  }
  EXPECT_GE(failures, 3) << "the string, its text and the node";
}

}  // namespace
}  // namespace qbflv
