// Big-endian readers over a run of bytes. Every parser of the plug-in reads through them, so none can read past its
// input.
#pragma once

#include <bit>
#include <cstddef>
#include <cstdint>
#include <span>

#include "plugin/shell/host_interfaces.h"

namespace qbflv {

/// The next unread byte and the count of bytes that remain. A reader that succeeds moves past its item; one that fails
/// moves nothing. Decoding that is made of several items is not rolled back.
struct ByteCursor {
  const std::uint8_t* bytes = nullptr;
  std::uint32_t remaining = 0;

  ByteCursor() = default;
  explicit ByteCursor(std::span<const std::uint8_t> run)
      : bytes(run.data()), remaining(static_cast<std::uint32_t>(run.size())) {}

  /// What is left, as a run.
  [[nodiscard]] std::span<const std::uint8_t> Rest() const { return {bytes, remaining}; }
};

/// The unsigned number of kSize bytes at kOffset in a run whose length is known when compiling: nothing to check is
/// left.
template <std::size_t kOffset, std::size_t kSize, std::size_t kLength>
[[nodiscard]] constexpr std::uint32_t BigEndianAt(std::span<const std::uint8_t, kLength> run) {
  static_assert(kSize <= 4 && kOffset + kSize <= kLength);
  std::uint32_t value = 0;
  for (const std::uint8_t byte : run.template subspan<kOffset, kSize>()) value = value << 8U | byte;
  return value;
}

// Each answers kOk, or kFailed when the cursor has no bytes to point at or fewer remain than the item needs.

/// An unsigned number of kSize bytes.
template <std::uint32_t kSize, typename Value>
[[nodiscard]] inline Status ReadBigEndian(ByteCursor& cursor, Value& value) {
  if (cursor.bytes == nullptr || cursor.remaining < kSize) return kFailed;
  std::uint64_t result = 0;
  for (std::uint32_t i = 0; i < kSize; ++i) result = result << 8 | cursor.bytes[i];
  value = static_cast<Value>(result);
  cursor.bytes += kSize;
  cursor.remaining -= kSize;
  return kOk;
}

[[nodiscard]] inline Status ReadUINT8(ByteCursor& cursor, std::uint8_t& value) {
  return ReadBigEndian<1>(cursor, value);
}
[[nodiscard]] inline Status ReadUINT16(ByteCursor& cursor, std::uint16_t& value) {
  return ReadBigEndian<2>(cursor, value);
}
[[nodiscard]] inline Status ReadUINT24(ByteCursor& cursor, std::uint32_t& value) {
  return ReadBigEndian<3>(cursor, value);
}
[[nodiscard]] inline Status ReadUINT32(ByteCursor& cursor, std::uint32_t& value) {
  return ReadBigEndian<4>(cursor, value);
}
/// IEEE-754 double precision.
[[nodiscard]] inline Status ReadDouble(ByteCursor& cursor, double& value) {
  std::uint64_t bits = 0;
  const Status status = ReadBigEndian<8>(cursor, bits);
  if (Succeeded(status)) value = std::bit_cast<double>(bits);
  return status;
}

/// Reads count bits (at most 32), the first one most significant. bitPosition is the next bit of the current byte, from
/// 7 (its most significant) down to 0. A count of 0 yields 0. kFailed also for a bit position above 7, for more bits
/// than remain, and when no byte remains.
[[nodiscard]] Status ReadBits(ByteCursor& cursor, std::uint32_t& bitPosition, std::uint32_t count,
                              std::uint32_t& value);

}  // namespace qbflv
