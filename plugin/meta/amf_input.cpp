#include "plugin/meta/amf_input.h"

#include <cstring>
#include <utility>

namespace qbflv {

namespace {

/// Added to each block for an array's element count and the heap's own data, so that empty texts and arrays count too.
constexpr std::uint64_t kBlockOverhead = 16;

}  // namespace

bool AMFInput::ReserveInput(std::uint32_t count, std::uint32_t entryBytes) {
  const std::uint64_t needed = std::uint64_t{count} * entryBytes;
  if (needed > cursor.remaining || needed > unreservedBytes) return false;
  unreservedBytes -= static_cast<std::uint32_t>(needed);
  return true;
}

bool AMFInput::ReserveMemory(std::uint64_t bytes) {
  if (bytes + kBlockOverhead > memoryLeft) return false;
  memoryLeft -= static_cast<std::uint32_t>(bytes + kBlockOverhead);
  return true;
}

void AMFInput::ReturnMemory(std::uint64_t bytes) { memoryLeft += static_cast<std::uint32_t>(bytes + kBlockOverhead); }

Status ReadCountedString(AMFInput& input, std::uint32_t length, OwnedArray<char>& text) {
  ByteCursor& cursor = input.cursor;
  if (cursor.bytes == nullptr || cursor.remaining < length) return kFailed;
  const std::uint64_t textBytes = std::uint64_t{length} + 1;
  if (!input.ReserveMemory(textBytes)) return kOutOfMemory;
  // The memory bound fits 32 bits, so textBytes does too.
  auto copy = MakeArray<char>(static_cast<std::uint32_t>(textBytes));
  if (copy == nullptr) {
    input.ReturnMemory(textBytes);
    return kOutOfMemory;
  }
  std::memcpy(copy.get(), cursor.bytes, length);
  text = std::move(copy);
  cursor.bytes += length;
  cursor.remaining -= length;
  return kOk;
}

}  // namespace qbflv
