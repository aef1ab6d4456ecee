// The input of the AMF0 decoder, with the bounds on its memory and nesting.
#pragma once

#include <cstdint>

#include "plugin/shell/host_interfaces.h"
#include "plugin/util/byte_cursor.h"
#include "plugin/util/owned.h"

namespace qbflv {

/// All values of a tag are decoded from one AMFInput. Twenty bytes can declare billions of entries, nested or in
/// sequence, so declared counts are compared with the available bytes.
struct AMFInput {
  static constexpr std::uint32_t kMaxTreeBytes = 64 * 1024 * 1024;
  static constexpr std::uint32_t kMaxDepth = 128;

  ByteCursor cursor;
  /// Bytes that arrays and texts may still allocate.
  std::uint32_t memoryLeft = kMaxTreeBytes;
  /// Number of containers around the current value.
  std::uint32_t depth = 0;
  /// Bytes of the input that no declared count has reserved yet. Each entry has bytes of its own, so correct counts
  /// never reserve more bytes than there are, however they nest.
  std::uint32_t unreservedBytes = cursor.remaining;

  /// Reserves count * entryBytes of the remaining input. Returns false if fewer bytes remain or are unreserved.
  [[nodiscard]] bool ReserveInput(std::uint32_t count, std::uint32_t entryBytes);

  /// Subtracts a block from memoryLeft. Returns false if the block would exceed it.
  [[nodiscard]] bool ReserveMemory(std::uint64_t bytes);
  /// Adds a freed block to memoryLeft.
  void ReturnMemory(std::uint64_t bytes);
};

/// Reads length bytes as a text and appends a NUL. Returns kFailed if fewer bytes remain, or kOutOfMemory, also beyond
/// the memory bound. Leaves cursor and text unchanged on failure.
[[nodiscard]] Status ReadCountedString(AMFInput& input, std::uint32_t length, OwnedArray<char>& text);

}  // namespace qbflv
