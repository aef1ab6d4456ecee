#include "plugin/util/counting_object.h"

#include "plugin/platform/platform.h"

namespace qbflv {

std::int32_t g_lObjectCount = 0;

CQBBaseCountingObject::CQBBaseCountingObject() { platform::AtomicIncrement(g_lObjectCount); }

CQBBaseCountingObject::~CQBBaseCountingObject() { platform::AtomicDecrement(g_lObjectCount); }

}  // namespace qbflv
