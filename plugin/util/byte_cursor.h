// Bounds-checked big-endian readers. Every parser of the plug-in reads its input through them.
#pragma once

#include <bit>
#include <cstddef>
#include <cstdint>
#include <span>
#include <utility>

#include "plugin/shell/host_interfaces.h"

namespace qbflv {

/// The next unread byte and the number of remaining bytes. A reader advances the cursor past its item on success and
/// leaves it unchanged on failure. Decoders of several items do not restore the cursor when a later item fails.
struct ByteCursor {
  const std::uint8_t* bytes = nullptr;
  std::uint32_t remaining = 0;

  ByteCursor() = default;
  explicit ByteCursor(std::span<const std::uint8_t> input)
      : bytes(input.data()), remaining(static_cast<std::uint32_t>(input.size())) {}

  /// The remaining bytes.
  [[nodiscard]] std::span<const std::uint8_t> Rest() const { return {bytes, remaining}; }
};

/// The unsigned number of kSize bytes at kOffset. The compiler checks the bounds.
template <std::size_t kOffset, std::size_t kSize, std::size_t kLength>
[[nodiscard]] constexpr std::uint32_t BigEndianAt(std::span<const std::uint8_t, kLength> input) {
  static_assert(kSize <= 4 && kOffset + kSize <= kLength);
  // One expression: compilers then load the number at once.
  return [&]<std::size_t... kIndex>(std::index_sequence<kIndex...>) {
    return ((std::uint32_t{input[kOffset + kIndex]} << (8 * (kSize - 1 - kIndex))) | ...);
  }
  (std::make_index_sequence<kSize>());
}

// The readers return kOk, or kFailed if the cursor's pointer is null or fewer bytes remain than the item needs.

/// An unsigned number of kSize bytes.
template <std::uint32_t kSize, typename Value>
[[nodiscard]] inline Status ReadBigEndian(ByteCursor& cursor, Value& value) {
  if (cursor.bytes == nullptr || cursor.remaining < kSize) return kFailed;
  const std::span<const std::uint8_t, kSize> input(cursor.bytes, kSize);
  if constexpr (kSize <= 4) {
    value = static_cast<Value>(BigEndianAt<0, kSize>(input));
  } else {
    const std::uint64_t high = BigEndianAt<0, kSize - 4>(input);
    value = static_cast<Value>(high << 32U | BigEndianAt<kSize - 4, 4>(input));
  }
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

/// Reads count bits (at most 32), most significant first. bitPosition is the next bit of the current byte, from 7 (most
/// significant) down to 0. A count of 0 yields 0. Also returns kFailed for a bit position above 7, a count above 32,
/// and if no byte remains.
[[nodiscard]] Status ReadBits(ByteCursor& cursor, std::uint32_t& bitPosition, std::uint32_t count,
                              std::uint32_t& value);

}  // namespace qbflv
