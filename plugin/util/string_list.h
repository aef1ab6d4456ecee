// A list that owns its strings.
#pragma once

#include <string_view>

#include "plugin/util/simple_list.h"
#include "plugin/util/string.h"

namespace qbflv {

/// Every value is a CQBString that was allocated with new. A successful insertion transfers it to the list.
class CQBStringList : public CQBSimpleList {
 public:
  CQBStringList() = default;
  ~CQBStringList() override;

  void RemoveAll() override;
  void RemoveAtIterator(Iterator& iterator) override;
  Position RemoveAt(Position node) override;

  /// Returns false and leaves the list unchanged on allocation failure.
  [[nodiscard]] bool AddTail(std::string_view text);
  /// Does nothing if the list is empty.
  void RemoveTail();

  /// The list keeps the string. REQUIRES: position is not null.
  [[nodiscard]] static CQBString& GetStringAt(Position position) { return *static_cast<CQBString*>(GetAt(position)); }
};

}  // namespace qbflv
