// Owned objects and arrays that can be refused: memory that cannot be had is an answer, not an exception.
#pragma once

#include <cstdint>
#include <memory>
#include <new>
#include <type_traits>
#include <utility>

namespace qbflv {

template <typename Element>
using OwnedArray = std::unique_ptr<Element[]>;

/// count new elements, value-initialised; null when the memory cannot be had. A count of 0 gives an array of none.
template <typename Element>
[[nodiscard]] OwnedArray<Element> MakeArray(std::uint32_t count) {
  return OwnedArray<Element>(new (std::nothrow) Element[count]());
}

/// count elements that are not set: memory that is never written to stays with the system. Null as above.
template <typename Element>
[[nodiscard]] OwnedArray<Element> MakeRoom(std::uint32_t count) {
  static_assert(std::is_trivially_default_constructible_v<Element>);
  return OwnedArray<Element>(new (std::nothrow) Element[count]);
}

/// A new object; null when the memory cannot be had.
template <typename Object, typename... Arguments>
[[nodiscard]] std::unique_ptr<Object> MakeOwned(Arguments&&... arguments) {
  return std::unique_ptr<Object>(new (std::nothrow) Object(std::forward<Arguments>(arguments)...));
}

}  // namespace qbflv
