// The base of the host's interface objects: reference count and interface table.
#pragma once

#include <cstdint>
#include <memory>
#include <new>
#include <utility>

#include "host/reference_count.h"
#include "plugin/shell/host_interfaces.h"
#include "plugin/util/com_ptr.h"

namespace qbflv::host {

/// Implements the first three slots for a class with the given interfaces. The first interface is the object's
/// identity. Create objects with MakeObject; the last Release deletes them.
template <typename FirstInterface, typename... Interfaces>
class ComObject : public FirstInterface, public Interfaces... {
 public:
  ComObject(const ComObject&) = delete;
  ComObject& operator=(const ComObject&) = delete;

  Status QueryInterface(const GUID& id, void** object) override {
    if (object == nullptr) return kInvalidArgument;
    *object = FindInterface(id);
    if (*object == nullptr) return kNoInterface;
    AddRef();
    return kOk;
  }

  std::uint32_t AddRef() final { return m_count.Increment(); }

  std::uint32_t Release() final {
    const std::uint32_t left = m_count.Decrement();
    if (left == 0) std::unique_ptr<ComObject>(this).reset();
    return left;
  }

 protected:
  ComObject() = default;
  virtual ~ComObject() = default;

  /// Returns the interface with this identifier, or null. A class overrides it to add or hide interfaces.
  virtual void* FindInterface(const GUID& id) {
    const std::pair<const GUID*, void*> table[] = {{&IUnknown::kId, static_cast<FirstInterface*>(this)},
                                                   {&FirstInterface::kId, static_cast<FirstInterface*>(this)},
                                                   {&Interfaces::kId, static_cast<Interfaces*>(this)}...};
    for (const auto& [entryId, entry] : table) {
      if (*entryId == id) return entry;
    }
    return nullptr;
  }

 private:
  friend struct std::default_delete<ComObject>;

  ReferenceCount m_count;
};

/// Creates an object and returns its only reference.
template <typename Object, typename... Arguments>
ComPtr<Object> MakeObject(Arguments&&... arguments) {
  return ComPtr<Object>::Adopt(new Object(std::forward<Arguments>(arguments)...));
}

/// Runs an interface operation and converts std::bad_alloc to a status: no exception may reach the plug-in.
template <typename Action>
Status WithoutThrowing(Action&& action) {
  try {
    return std::forward<Action>(action)();
  } catch (const std::bad_alloc&) {
    return kOutOfMemory;
  }
}

}  // namespace qbflv::host
