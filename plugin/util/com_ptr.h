// The smart pointer for interface objects: it owns one reference and releases it when it is destroyed.
#pragma once

#include <cstddef>
#include <utility>

namespace qbflv {

/// Adopt takes over a reference that the caller owns; Retain adds a reference to a borrowed pointer.
template <typename Interface>
class ComPtr {
 public:
  ComPtr() = default;
  ComPtr(std::nullptr_t) {}  // NOLINT(google-explicit-constructor): lets callers pass nullptr
  ComPtr(const ComPtr& other) : ComPtr(Retain(other.m_pObject)) {}
  ComPtr(ComPtr&& other) noexcept : m_pObject(std::exchange(other.m_pObject, nullptr)) {}
  ~ComPtr() {
    if (m_pObject != nullptr) m_pObject->Release();
  }

  /// Releases the old object last, so self-assignment and re-entry from its Release are safe.
  ComPtr& operator=(ComPtr other) noexcept {
    std::swap(m_pObject, other.m_pObject);
    return *this;
  }

  static ComPtr Adopt(Interface* owned) {
    ComPtr pointer;
    pointer.m_pObject = owned;
    return pointer;
  }

  static ComPtr Retain(Interface* borrowed) {
    if (borrowed != nullptr) borrowed->AddRef();
    return Adopt(borrowed);
  }

  Interface* Get() const { return m_pObject; }
  Interface* operator->() const { return m_pObject; }
  Interface& operator*() const { return *m_pObject; }
  explicit operator bool() const { return m_pObject != nullptr; }

  /// Releases the held object and returns the address for an out parameter, whose reference the pointer then owns.
  Interface** Out() {
    *this = nullptr;
    return &m_pObject;
  }

  /// Like Out, for out parameters of type void**.
  void** OutVoid() { return reinterpret_cast<void**>(Out()); }

  /// Transfers the reference to the caller.
  [[nodiscard]] Interface* Detach() { return std::exchange(m_pObject, nullptr); }

  /// Returns another interface of the object, or null if it has none or the pointer is null.
  template <typename Other>
  ComPtr<Other> Query() const {
    return QueryFor<Other>(m_pObject);
  }

 private:
  Interface* m_pObject = nullptr;
};

/// Returns another interface of a borrowed object, or null if it has none or object is null.
template <typename Other, typename Interface>
ComPtr<Other> QueryFor(Interface* object) {
  ComPtr<Other> result;
  if (object == nullptr || object->QueryInterface(Other::kId, result.OutVoid()) < 0) return nullptr;
  return result;
}

}  // namespace qbflv
