// A doubly linked list of untyped values. It does not own the values.
#pragma once

#include <cstdint>

namespace qbflv {

class CQBSimpleList {
 public:
  struct Node {
    Node* previous = nullptr;
    Node* next = nullptr;
    void* value = nullptr;
  };

  /// A position is valid until its node is removed; null means no position.
  using Position = Node*;

  /// A position that advances to the next node when RemoveAtIterator removes its node.
  struct Iterator {
    Position position = nullptr;
  };

  CQBSimpleList() = default;
  CQBSimpleList(const CQBSimpleList&) = delete;
  CQBSimpleList& operator=(const CQBSimpleList&) = delete;

  // The order of the virtual operations is fixed. The iterator forms have names of their own because compilers order
  // overloads differently.

  virtual ~CQBSimpleList();
  /// Returns whether count, head and tail are consistent.
  [[nodiscard]] virtual bool IsValid() const;
  virtual void RemoveAll();
  /// Removes the node at the iterator's position and advances the iterator to the next node, or to none.
  virtual void RemoveAtIterator(Iterator& iterator);
  /// Removes the node. Returns the next node, or the previous one if there is no next. Does nothing and returns null
  /// for null.
  virtual Position RemoveAt(Position node);
  virtual Position InsertBeforeIterator(const Iterator& iterator, void* value);
  /// Inserts before node, or before the head if node is null. Returns the new node, or null on allocation failure.
  virtual Position InsertBefore(Position node, void* value);
  virtual Position InsertAfterIterator(const Iterator& iterator, void* value);
  /// Inserts after node, or after the tail if node is null. Returns the new node, or null on allocation failure.
  virtual Position InsertAfter(Position node, void* value);
  /// Returns the first node from start (from the head if null) with that value, or null.
  [[nodiscard]] virtual Position Find(const void* value, Position start) const;
  /// Does nothing; occupies a slot.
  virtual void Reserved() {}

  [[nodiscard]] std::int32_t GetCount() const { return m_lCount; }
  [[nodiscard]] Position GetHead() const { return m_pHead; }
  [[nodiscard]] Position GetTail() const { return m_pTail; }

  /// REQUIRES: position is not null.
  [[nodiscard]] static void* GetAt(Position position) { return position->value; }
  /// Returns the value at position and advances position. REQUIRES: position is not null.
  static void* GetNext(Position& position);

 protected:
  std::int32_t m_lCount = 0;
  Node* m_pHead = nullptr;
  Node* m_pTail = nullptr;

 private:
  /// Inserts a node between two neighbours; null means an end of the list. Returns null on allocation failure.
  Position Link(Position previous, Position next, void* value);
  [[nodiscard]] Position TakeNode();
  void RecycleNode(Position node);

  /// Removed nodes, linked by next, which later insertions reuse: a queue then rarely allocates.
  Node* m_pSpareNodes = nullptr;
  std::int32_t m_lSpareCount = 0;
};

}  // namespace qbflv
