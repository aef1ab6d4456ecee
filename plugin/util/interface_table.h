// QueryInterface as a search through a table of identifiers.
#pragma once

#include <span>

#include "plugin/shell/host_interfaces.h"

namespace qbflv {

/// What is handed out for an identifier. A null pointer stands for an interface that is not there.
struct InterfaceEntry {
  const GUID* id;
  /// The address that the caller gets, exactly as its type wants it.
  void* pointer;
  /// The same object, to add the reference to.
  IUnknown* unknown;
};

template <typename Interface>
InterfaceEntry EntryFor(Interface* pointer) {
  return {&Interface::kId, pointer, pointer};
}

/// Stores the entry's pointer with one reference and answers kOk, or null and kNoInterface.
Status FindInterface(std::span<const InterfaceEntry> entries, const GUID& id, void** object);

}  // namespace qbflv
