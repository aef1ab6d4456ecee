// The base of every object that the host may hold: together they tell whether the library may be unloaded.
#pragma once

#include <cstdint>

namespace qbflv {

/// Objects alive in this library.
extern std::int32_t g_lObjectCount;

class CQBBaseCountingObject {
 public:
  CQBBaseCountingObject();
  virtual ~CQBBaseCountingObject();

  CQBBaseCountingObject(const CQBBaseCountingObject&) = delete;
  CQBBaseCountingObject& operator=(const CQBBaseCountingObject&) = delete;
};

}  // namespace qbflv
