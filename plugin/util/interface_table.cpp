#include "plugin/util/interface_table.h"

namespace qbflv {

Status FindInterface(std::span<const InterfaceEntry> entries, const GUID& id, void** object) {
  if (object == nullptr) return kInvalidArgument;
  *object = nullptr;
  for (const InterfaceEntry& entry : entries) {
    if (!(*entry.id == id)) continue;
    if (entry.pointer == nullptr) return kNoInterface;
    entry.unknown->AddRef();
    *object = entry.pointer;
    return kOk;
  }
  return kNoInterface;
}

}  // namespace qbflv
