// The one smart pointer for interface objects: it holds one reference and drops it when it goes.
#pragma once

#include <cstddef>
#include <utility>

namespace qbflv {

/// Two spelled-out ways in: Adopt takes over a reference that was handed out, Retain adds one to a borrowed pointer.
template <typename Interface>
class ComPtr {
 public:
  ComPtr() = default;
  ComPtr(std::nullptr_t) {}  // NOLINT(google-explicit-constructor): null reads naturally wherever a pointer does
  ComPtr(const ComPtr& other) : ComPtr(Retain(other.m_pObject)) {}
  ComPtr(ComPtr&& other) noexcept : m_pObject(std::exchange(other.m_pObject, nullptr)) {}
  ~ComPtr() {
    if (m_pObject != nullptr) m_pObject->Release();
  }

  /// The old object is released last, so assigning to oneself and re-entry from its Release are safe.
  ComPtr& operator=(ComPtr other) noexcept {
    std::swap(m_pObject, other.m_pObject);
    return *this;
  }

  static ComPtr Adopt(Interface* handedOut) {
    ComPtr pointer;
    pointer.m_pObject = handedOut;
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

  /// Drops what is held and gives the place for an out parameter, which is adopted as it stands.
  Interface** Out() {
    *this = nullptr;
    return &m_pObject;
  }

  /// The same for out parameters that are declared void**.
  void** OutVoid() { return reinterpret_cast<void**>(Out()); }

  /// Hands the reference over to the caller.
  [[nodiscard]] Interface* Detach() { return std::exchange(m_pObject, nullptr); }

  /// Another interface of the object, or null when there is none (or no object).
  template <typename Other>
  ComPtr<Other> Query() const {
    return QueryFor<Other>(m_pObject);
  }

 private:
  Interface* m_pObject = nullptr;
};

/// Another interface of a borrowed object, or null when it has none (or there is no object).
template <typename Other, typename Interface>
ComPtr<Other> QueryFor(Interface* object) {
  ComPtr<Other> result;
  if (object == nullptr || object->QueryInterface(Other::kId, result.OutVoid()) < 0) return nullptr;
  return result;
}

}  // namespace qbflv
