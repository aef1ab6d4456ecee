#include "plugin/util/string_list.h"

#include <memory>

#include "plugin/util/owned.h"

namespace qbflv {

namespace {

/// Takes ownership of the node's string.
std::unique_ptr<CQBString> TakeString(const CQBSimpleList::Node* node) {
  return std::unique_ptr<CQBString>(static_cast<CQBString*>(node->value));
}

}  // namespace

CQBStringList::~CQBStringList() { CQBStringList::RemoveAll(); }

void CQBStringList::RemoveAll() {
  for (const Node* node = m_pHead; node != nullptr; node = node->next) TakeString(node);
  CQBSimpleList::RemoveAll();
}

void CQBStringList::RemoveAtIterator(Iterator& iterator) {
  if (iterator.position == nullptr) return;
  const std::unique_ptr<CQBString> removed = TakeString(iterator.position);
  CQBSimpleList::RemoveAtIterator(iterator);
}

CQBSimpleList::Position CQBStringList::RemoveAt(Position node) {
  if (node == nullptr) return nullptr;
  const std::unique_ptr<CQBString> removed = TakeString(node);
  return CQBSimpleList::RemoveAt(node);
}

bool CQBStringList::AddTail(std::string_view text) {
  std::unique_ptr<CQBString> value = MakeOwned<CQBString>();
  if (!value || !value->Assign(text) || InsertAfter(nullptr, value.get()) == nullptr) return false;
  static_cast<void>(value.release());  // the list owns it now
  return true;
}

void CQBStringList::RemoveTail() { RemoveAt(m_pTail); }

}  // namespace qbflv
