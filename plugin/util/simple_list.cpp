#include "plugin/util/simple_list.h"

#include <memory>
#include <utility>

#include "plugin/util/owned.h"

namespace qbflv {

namespace {

constexpr std::int32_t kMaxSpareNodes = 8;

void DeleteAll(CQBSimpleList::Node* node) {
  while (node != nullptr) {
    const std::unique_ptr<CQBSimpleList::Node> removed(node);
    node = removed->next;
  }
}

}  // namespace

CQBSimpleList::~CQBSimpleList() {
  CQBSimpleList::RemoveAll();
  DeleteAll(m_pSpareNodes);
}

bool CQBSimpleList::IsValid() const {
  if (m_pHead == nullptr && m_pTail == nullptr) return m_lCount == 0;
  if (m_pHead == nullptr || m_pTail == nullptr || m_lCount < 1) return false;
  return m_lCount != 1 || m_pHead == m_pTail;
}

void CQBSimpleList::RemoveAll() {
  DeleteAll(std::exchange(m_pHead, nullptr));
  m_pTail = nullptr;
  m_lCount = 0;
}

void CQBSimpleList::RemoveAtIterator(Iterator& iterator) {
  if (iterator.position == nullptr) return;
  const Position next = iterator.position->next;
  CQBSimpleList::RemoveAt(iterator.position);
  iterator.position = next;
}

CQBSimpleList::Position CQBSimpleList::RemoveAt(Position node) {
  if (node == nullptr) return nullptr;
  (node->previous != nullptr ? node->previous->next : m_pHead) = node->next;
  (node->next != nullptr ? node->next->previous : m_pTail) = node->previous;
  --m_lCount;
  const Position neighbour = node->next != nullptr ? node->next : node->previous;
  RecycleNode(node);
  return neighbour;
}

CQBSimpleList::Position CQBSimpleList::InsertBeforeIterator(const Iterator& iterator, void* value) {
  return InsertBefore(iterator.position, value);
}

CQBSimpleList::Position CQBSimpleList::InsertBefore(Position node, void* value) {
  const Position next = node != nullptr ? node : m_pHead;
  return Link(next != nullptr ? next->previous : nullptr, next, value);
}

CQBSimpleList::Position CQBSimpleList::InsertAfterIterator(const Iterator& iterator, void* value) {
  return InsertAfter(iterator.position, value);
}

CQBSimpleList::Position CQBSimpleList::InsertAfter(Position node, void* value) {
  const Position previous = node != nullptr ? node : m_pTail;
  return Link(previous, previous != nullptr ? previous->next : nullptr, value);
}

CQBSimpleList::Position CQBSimpleList::Find(const void* value, Position start) const {
  for (Position node = start != nullptr ? start : m_pHead; node != nullptr; node = node->next) {
    if (node->value == value) return node;
  }
  return nullptr;
}

void* CQBSimpleList::GetNext(Position& position) {
  void* const value = position->value;
  position = position->next;
  return value;
}

CQBSimpleList::Position CQBSimpleList::Link(Position previous, Position next, void* value) {
  const Position node = TakeNode();
  if (node == nullptr) return nullptr;
  *node = {previous, next, value};
  (previous != nullptr ? previous->next : m_pHead) = node;
  (next != nullptr ? next->previous : m_pTail) = node;
  ++m_lCount;
  return node;
}

CQBSimpleList::Position CQBSimpleList::TakeNode() {
  if (m_pSpareNodes == nullptr) return MakeOwned<Node>().release();
  --m_lSpareCount;
  return std::exchange(m_pSpareNodes, m_pSpareNodes->next);
}

void CQBSimpleList::RecycleNode(Position node) {
  if (m_lSpareCount == kMaxSpareNodes) {
    const std::unique_ptr<Node> removed(node);
    return;
  }
  node->next = std::exchange(m_pSpareNodes, node);
  ++m_lSpareCount;
}

}  // namespace qbflv
