// A list of strings that the list owns.
#pragma once

#include <string_view>

#include "plugin/util/simple_list.h"
#include "plugin/util/string.h"

namespace qbflv {

/// Every value is a CQBString that was allocated for the list; whoever inserts one hands it over, if the insertion
/// succeeds.
class CQBStringList : public CQBSimpleList {
 public:
  CQBStringList() = default;
  ~CQBStringList() override;

  void RemoveAll() override;
  void RemoveAtIterator(Iterator& iterator) override;
  Position RemoveAt(Position node) override;

  /// False, with the list unchanged, when the memory cannot be had.
  [[nodiscard]] bool AddTail(std::string_view text);
  /// Without effect on an empty list.
  void RemoveTail();

  /// The string at a position, which must not be null; it stays the list's.
  [[nodiscard]] static CQBString& GetStringAt(Position position) { return *static_cast<CQBString*>(GetAt(position)); }
};

}  // namespace qbflv
