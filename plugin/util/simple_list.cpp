#include "plugin/util/simple_list.h"

#include <memory>
#include <utility>

#include "plugin/util/owned.h"

namespace qbflv {

CQBSimpleList::~CQBSimpleList() { CQBSimpleList::RemoveAll(); }

bool CQBSimpleList::IsValid() const {
  if (m_pHead == nullptr && m_pTail == nullptr) return m_lCount == 0;
  if (m_pHead == nullptr || m_pTail == nullptr || m_lCount < 1) return false;
  return m_lCount != 1 || m_pHead == m_pTail;
}

void CQBSimpleList::RemoveAll() {
  Node* node = std::exchange(m_pHead, nullptr);
  m_pTail = nullptr;
  m_lCount = 0;
  while (node != nullptr) {
    const std::unique_ptr<Node> removed(node);
    node = removed->next;
  }
}

void CQBSimpleList::RemoveAtIterator(Iterator& iterator) {
  if (iterator.position == nullptr) return;
  const Position next = iterator.position->next;
  CQBSimpleList::RemoveAt(iterator.position);
  iterator.position = next;
}

CQBSimpleList::Position CQBSimpleList::RemoveAt(Position node) {
  if (node == nullptr) return nullptr;
  const std::unique_ptr<Node> removed(node);
  (node->previous != nullptr ? node->previous->next : m_pHead) = node->next;
  (node->next != nullptr ? node->next->previous : m_pTail) = node->previous;
  --m_lCount;
  return node->next != nullptr ? node->next : node->previous;
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
  Node* const node = MakeOwned<Node>(Node{previous, next, value}).release();
  if (node == nullptr) return nullptr;
  (previous != nullptr ? previous->next : m_pHead) = node;
  (next != nullptr ? next->previous : m_pTail) = node;
  ++m_lCount;
  return node;
}

}  // namespace qbflv
