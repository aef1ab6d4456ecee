// What a tag's AMF0 values are decoded from, and how much the decoding may take.
#pragma once

#include <cstdint>

#include "plugin/shell/host_interfaces.h"
#include "plugin/util/byte_cursor.h"
#include "plugin/util/owned.h"

namespace qbflv {

/// One input serves all values of a tag. Twenty bytes can declare billions of entries, in each other and one after the
/// other, so what a tag declares is weighed against what it holds.
struct AMFInput {
  static constexpr std::uint32_t kMaxTreeBytes = 64 * 1024 * 1024;
  static constexpr std::uint32_t kMaxDepth = 128;

  ByteCursor cursor;
  /// What arrays and texts may still take.
  std::uint32_t memoryLeft = kMaxTreeBytes;
  /// Containers that are being decoded around the current value.
  std::uint32_t depth = 0;
  /// Bytes of the input that no believed count has claimed yet. Each entry has bytes of its own, so honest counts never
  /// claim more than there is, however they nest.
  std::uint32_t unclaimed = cursor.remaining;

  /// Whether the bytes can hold count entries of at least entryBytes each. Then they are claimed.
  [[nodiscard]] bool Believes(std::uint32_t count, std::uint32_t entryBytes);

  /// Counts a block of so many bytes; false when it would exceed the bound.
  [[nodiscard]] bool Take(std::uint64_t bytes);
  /// Counts a block as freed.
  void GiveBack(std::uint64_t bytes);
};

/// Makes a text of the next length bytes and a NUL. kFailed when fewer remain; kOutOfMemory beyond the bound too. A
/// failure moves nothing and leaves text as it is.
[[nodiscard]] Status ReadCountedString(AMFInput& input, std::uint32_t length, OwnedArray<char>& text);

}  // namespace qbflv
