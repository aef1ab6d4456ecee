#include "plugin/util/byte_cursor.h"

namespace qbflv {

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
