// The base of every object that the host may hold. It counts them, because the library may be unloaded only without
// live objects.
#pragma once

#include <cstdint>

namespace qbflv {

/// Number of live objects of this library.
extern std::int32_t g_lObjectCount;

class CQBBaseCountingObject {
 public:
  CQBBaseCountingObject();
  virtual ~CQBBaseCountingObject();

  CQBBaseCountingObject(const CQBBaseCountingObject&) = delete;
  CQBBaseCountingObject& operator=(const CQBBaseCountingObject&) = delete;
};

}  // namespace qbflv
