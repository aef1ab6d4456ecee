// The lists against the standard library's, and what their iterators and ends do.
#include "plugin/util/simple_list.h"

#include <gtest/gtest.h>

#include <list>
#include <random>
#include <string>
#include <vector>

#include "plugin/util/string_list.h"
#include "tests/unit/heap_probe.h"

namespace qbflv {
namespace {

std::vector<int*> Values(const CQBSimpleList& list) {
  std::vector<int*> values;
  for (CQBSimpleList::Position position = list.GetHead(); position != nullptr;) {
    values.push_back(static_cast<int*>(CQBSimpleList::GetNext(position)));
  }
  return values;
}

std::vector<int*> ValuesBackwards(const CQBSimpleList& list) {
  std::vector<int*> values;
  for (auto* node = list.GetTail(); node != nullptr; node = node->previous) {
    values.insert(values.begin(), static_cast<int*>(CQBSimpleList::GetAt(node)));
  }
  return values;
}

std::string Texts(const CQBStringList& list) {
  std::string texts;
  for (auto* node = list.GetHead(); node != nullptr; node = node->next) {
    texts += CQBStringList::GetStringAt(node).GetText();
    texts += ';';
  }
  return texts;
}

TEST(SimpleList, RandomInsertionsAndRemovals_KeepTheOrderOfAListOfTheStandardLibrary) {
  std::mt19937 random(7);
  std::vector<int> numbers(400);
  CQBSimpleList list;
  std::list<int*> model;
  std::vector<CQBSimpleList::Position> positions;  // in the model's order
  for (int& number : numbers) {
    const std::size_t at = positions.empty() ? 0 : random() % positions.size();
    const auto modelAt = std::next(model.begin(), static_cast<std::ptrdiff_t>(at));
    const auto positionAt = positions.begin() + static_cast<std::ptrdiff_t>(at);
    switch (positions.empty() ? 0 : random() % 5) {
      case 0:
        positions.insert(positions.begin(), list.InsertBefore(nullptr, &number));
        model.push_front(&number);
        break;
      case 1:
        positions.push_back(list.InsertAfter(nullptr, &number));
        model.push_back(&number);
        break;
      case 2:
        positions.insert(positionAt, list.InsertBeforeIterator({*positionAt}, &number));
        model.insert(modelAt, &number);
        break;
      case 3:
        positions.insert(positionAt + 1, list.InsertAfterIterator({*positionAt}, &number));
        model.insert(std::next(modelAt), &number);
        break;
      default: {
        const bool last = at + 1 == positions.size();
        const CQBSimpleList::Position neighbour = positions.size() == 1 ? nullptr : positions[last ? at - 1 : at + 1];
        EXPECT_EQ(neighbour, list.RemoveAt(*positionAt));
        positions.erase(positionAt);
        model.erase(modelAt);
      }
    }
    ASSERT_TRUE(list.IsValid());
    ASSERT_EQ(static_cast<std::size_t>(list.GetCount()), model.size());
    ASSERT_EQ(Values(list), std::vector<int*>(model.begin(), model.end()));
    ASSERT_EQ(ValuesBackwards(list), Values(list));
  }
  list.RemoveAll();
  EXPECT_TRUE(list.IsValid());
  EXPECT_EQ(list.GetCount(), 0);
  EXPECT_EQ(list.GetHead(), nullptr);
}

TEST(SimpleList, InsertAfterNullInAnEmptyList_MakesHeadAndTail_AndRemovingItGivesNull) {
  int value = 0;
  CQBSimpleList list;
  const CQBSimpleList::Position node = list.InsertAfter(nullptr, &value);
  EXPECT_EQ(list.GetHead(), node);
  EXPECT_EQ(list.GetTail(), node);
  EXPECT_EQ(list.RemoveAt(node), nullptr);
  EXPECT_EQ(list.GetTail(), nullptr);
  EXPECT_TRUE(list.IsValid());
  EXPECT_EQ(list.RemoveAt(nullptr), nullptr);
}

TEST(SimpleList, RemovingThroughAnIterator_MovesItOnAndPastTheEnd) {
  int values[3] = {};
  CQBSimpleList list;
  for (int& value : values) list.InsertAfter(nullptr, &value);
  CQBSimpleList::Iterator iterator{list.GetHead()->next};
  list.RemoveAtIterator(iterator);
  EXPECT_EQ(iterator.position, list.GetTail());
  list.RemoveAtIterator(iterator);
  EXPECT_EQ(iterator.position, nullptr);
  list.RemoveAtIterator(iterator);
  EXPECT_EQ(Values(list), std::vector<int*>{&values[0]});
}

TEST(SimpleList, Find_GivesTheFirstEqualValueFromTheStart) {
  int values[2] = {};
  CQBSimpleList list;
  const auto first = list.InsertAfter(nullptr, &values[0]);
  const auto second = list.InsertAfter(nullptr, &values[0]);
  EXPECT_EQ(list.Find(&values[0], nullptr), first);
  EXPECT_EQ(list.Find(&values[0], second), second);
  EXPECT_EQ(list.Find(&values[1], nullptr), nullptr);
}

TEST(SimpleList, IsValid_SeesEveryDisagreementOfCountHeadAndTail) {
  struct BrokenList : CQBSimpleList {
    bool Says(std::int32_t count, Node* head, Node* tail) {
      m_lCount = count;
      m_pHead = head;
      m_pTail = tail;
      const bool valid = IsValid();
      m_lCount = 0;
      m_pHead = m_pTail = nullptr;
      return valid;
    }
  };
  CQBSimpleList::Node nodes[2];
  BrokenList list;
  EXPECT_TRUE(list.Says(0, nullptr, nullptr));
  EXPECT_TRUE(list.Says(1, nodes, nodes));
  EXPECT_TRUE(list.Says(2, nodes, nodes + 1));
  EXPECT_FALSE(list.Says(1, nullptr, nullptr));
  EXPECT_FALSE(list.Says(1, nodes, nullptr));
  EXPECT_FALSE(list.Says(1, nullptr, nodes));
  EXPECT_FALSE(list.Says(1, nodes, nodes + 1));
  EXPECT_FALSE(list.Says(-1, nodes, nodes));
}

TEST(StringList, EveryWayOfRemoving_DestroysTheStringsAndKeepsTheOthers) {
  CQBStringList list;
  for (const char* text : {"a", "", "c", "d", "e"}) ASSERT_TRUE(list.AddTail(text));
  EXPECT_EQ(Texts(list), "a;;c;d;e;");
  list.RemoveTail();
  EXPECT_EQ(Texts(list), "a;;c;d;");
  list.RemoveAt(list.GetHead());
  EXPECT_EQ(Texts(list), ";c;d;");
  CQBSimpleList::Iterator iterator{list.GetHead()->next};
  list.RemoveAtIterator(iterator);
  EXPECT_EQ(Texts(list), ";d;");
  list.RemoveAll();
  list.RemoveTail();
  EXPECT_TRUE(list.IsValid());
  ASSERT_TRUE(list.AddTail("left to the destructor"));
}

TEST(StringList, AddingWithoutMemory_LeavesTheListAsItWas) {
  CQBStringList list;
  ASSERT_TRUE(list.AddTail("kept"));
  std::size_t allowed = 0;
  for (bool added = false; !added; ++allowed) {
    const HeapProbe heap(allowed);
    added = list.AddTail("new");
    EXPECT_NE(added, heap.HasRefused()) << allowed;
    EXPECT_EQ(Texts(list), added ? "kept;new;" : "kept;") << allowed;
  }
  EXPECT_GT(allowed, 2u);
}

}  // namespace
}  // namespace qbflv
