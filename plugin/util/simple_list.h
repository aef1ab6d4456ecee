// A doubly linked list of untyped values, which it does not own.
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

  /// Null stands for no position. Valid until its node is removed.
  using Position = Node*;

  /// A place in a list that moves on when its node is removed.
  struct Iterator {
    Position position = nullptr;
  };

  CQBSimpleList() = default;
  CQBSimpleList(const CQBSimpleList&) = delete;
  CQBSimpleList& operator=(const CQBSimpleList&) = delete;

  // The virtual operations keep this order; the iterator forms have names of their own because compilers differ in
  // where they put overloads.

  virtual ~CQBSimpleList();
  /// Whether count, head and tail agree.
  [[nodiscard]] virtual bool IsValid() const;
  virtual void RemoveAll();
  /// Removes the node at the iterator's position and moves the iterator to the next node, or to none.
  virtual void RemoveAtIterator(Iterator& iterator);
  /// Answers the next node, or the previous one when there is no next. Null, without effect, for null.
  virtual Position RemoveAt(Position node);
  virtual Position InsertBeforeIterator(const Iterator& iterator, void* value);
  /// Before the head when node is null. Answers the new node, or null when the memory cannot be had.
  virtual Position InsertBefore(Position node, void* value);
  virtual Position InsertAfterIterator(const Iterator& iterator, void* value);
  /// After the tail when node is null. Answers the new node, or null when the memory cannot be had.
  virtual Position InsertAfter(Position node, void* value);
  /// The first node from start (null: the head) with that value, or null.
  [[nodiscard]] virtual Position Find(const void* value, Position start) const;
  /// Does nothing; keeps its place among the operations.
  virtual void Reserved() {}

  [[nodiscard]] std::int32_t GetCount() const { return m_lCount; }
  [[nodiscard]] Position GetHead() const { return m_pHead; }
  [[nodiscard]] Position GetTail() const { return m_pTail; }

  /// The value at a position, which must not be null.
  [[nodiscard]] static void* GetAt(Position position) { return position->value; }
  /// The value at a position, which must not be null, and moves the position on.
  static void* GetNext(Position& position);

 protected:
  std::int32_t m_lCount = 0;
  Node* m_pHead = nullptr;
  Node* m_pTail = nullptr;

 private:
  /// Makes a node between two neighbours; null stands for an end of the list.
  Position Link(Position previous, Position next, void* value);
  [[nodiscard]] Position TakeNode();
  void Discard(Position node);

  /// A few removed nodes, for the next values: a queue that fills and empties all the time takes no memory for it.
  Node* m_pSpares = nullptr;
  std::int32_t m_lSpareCount = 0;
};

}  // namespace qbflv
