#include "plugin/util/byte_cursor.h"

#include <bit>

namespace qbflv {

namespace {

template <typename Value, std::uint32_t kSize>
Status ReadBigEndian(ByteCursor& cursor, Value& value) {
  if (cursor.bytes == nullptr || cursor.remaining < kSize) return kFailed;
  Value result = 0;
  for (std::uint32_t i = 0; i < kSize; ++i) result = static_cast<Value>((std::uint64_t{result} << 8) | cursor.bytes[i]);
  value = result;
  cursor.bytes += kSize;
  cursor.remaining -= kSize;
  return kOk;
}

}  // namespace

Status ReadUINT8(ByteCursor& cursor, std::uint8_t& value) { return ReadBigEndian<std::uint8_t, 1>(cursor, value); }
Status ReadUINT16(ByteCursor& cursor, std::uint16_t& value) { return ReadBigEndian<std::uint16_t, 2>(cursor, value); }
Status ReadUINT24(ByteCursor& cursor, std::uint32_t& value) { return ReadBigEndian<std::uint32_t, 3>(cursor, value); }
Status ReadUINT32(ByteCursor& cursor, std::uint32_t& value) { return ReadBigEndian<std::uint32_t, 4>(cursor, value); }

Status ReadDouble(ByteCursor& cursor, double& value) {
  std::uint64_t bits = 0;
  const Status status = ReadBigEndian<std::uint64_t, 8>(cursor, bits);
  if (Succeeded(status)) value = std::bit_cast<double>(bits);
  return status;
}

Status ReadBits(ByteCursor& cursor, std::uint32_t& bitPosition, std::uint32_t count, std::uint32_t& value) {
  if (cursor.bytes == nullptr || cursor.remaining == 0 || bitPosition > 7 || count > 32) return kFailed;
  const std::uint64_t bitsLeft = bitPosition + 8 * std::uint64_t{cursor.remaining} - 7;
  if (count > bitsLeft) return kFailed;

  std::uint32_t result = 0;
  for (std::uint32_t i = 0; i < count; ++i) {
    result = (result << 1) | ((std::uint32_t{*cursor.bytes} >> bitPosition) & 1U);
    if (bitPosition > 0) {
      --bitPosition;
      continue;
    }
    bitPosition = 7;
    ++cursor.bytes;
    --cursor.remaining;
  }
  value = result;
  return kOk;
}

}  // namespace qbflv
