// Creates owned objects and arrays. Allocation failures return null instead of throwing.
#pragma once

#include <cstdint>
#include <memory>
#include <new>
#include <type_traits>
#include <utility>

namespace qbflv {

template <typename Element>
using OwnedArray = std::unique_ptr<Element[]>;

/// Creates count value-initialised elements. Returns null on allocation failure; a count of 0 gives an empty array.
template <typename Element>
[[nodiscard]] OwnedArray<Element> MakeArray(std::uint32_t count) {
  return OwnedArray<Element>(new (std::nothrow) Element[count]());
}

/// Like MakeArray, without initialisation, so that the system need not provide memory that is never written.
template <typename Element>
[[nodiscard]] OwnedArray<Element> MakeUninitialisedArray(std::uint32_t count) {
  static_assert(std::is_trivially_default_constructible_v<Element>);
  return OwnedArray<Element>(new (std::nothrow) Element[count]);
}

/// Creates an object. Returns null on allocation failure.
template <typename Object, typename... Arguments>
[[nodiscard]] std::unique_ptr<Object> MakeOwned(Arguments&&... arguments) {
  return std::unique_ptr<Object>(new (std::nothrow) Object(std::forward<Arguments>(arguments)...));
}

}  // namespace qbflv
