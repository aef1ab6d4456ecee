// Implements QueryInterface as a search in a table of identifiers.
#pragma once

#include <span>

#include "plugin/shell/host_interfaces.h"

namespace qbflv {

/// The interface that an object returns for an identifier. A null pointer means that it has no such interface.
struct InterfaceEntry {
  const GUID* id;
  /// The address that the caller receives, already converted to the interface's type.
  void* pointer;
  /// The same object, for AddRef.
  IUnknown* unknown;
};

template <typename Interface>
InterfaceEntry EntryFor(Interface* pointer) {
  return {&Interface::kId, pointer, pointer};
}

/// Stores the entry's pointer with one reference and returns kOk, or stores null and returns kNoInterface. Returns
/// kInvalidArgument if object is null.
Status FindInterface(std::span<const InterfaceEntry> entries, const GUID& id, void** object);

}  // namespace qbflv
