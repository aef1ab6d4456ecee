// Decodes AMFValue. It recurses once per container level, so its stack frames are small.
#include <algorithm>
#include <utility>

#include "plugin/meta/amf_value.h"

namespace qbflv {

namespace {

/// Initial number of nodes for an Object, and for a declared count that the input is too short for.
constexpr std::uint32_t kFirstCapacity = 8;
/// Size of the smallest element: a marker.
constexpr std::uint32_t kMinElementBytes = 1;
/// Size of the smallest named entry: the length of its name and a marker.
constexpr std::uint32_t kMinEntryBytes = 3;

std::uint64_t BlockBytes(std::uint32_t count) { return std::uint64_t{count} * sizeof(AMFValue); }

/// Replaces array with count new nodes and sets nodeCount to count. Leaves both unchanged on failure.
Status MakeNodes(AMFInput& input, std::uint32_t count, OwnedArray<AMFValue>& array, std::uint32_t& nodeCount) {
  if (!input.ReserveMemory(BlockBytes(count))) return kOutOfMemory;
  auto nodes = MakeArray<AMFValue>(count);
  if (nodes == nullptr) {
    input.ReturnMemory(BlockBytes(count));
    return kOutOfMemory;
  }
  array = std::move(nodes);
  nodeCount = count;
  return kOk;
}

/// Resizes array to newCount nodes and moves its nodes over, with all that they own, as far as there is room.
/// REQUIRES: array holds nodeCount nodes.
Status ResizeArray(AMFInput& input, OwnedArray<AMFValue>& array, std::uint32_t& nodeCount, std::uint32_t newCount) {
  if (newCount == 0) return kFailed;
  OwnedArray<AMFValue> resized;
  const std::uint32_t oldCount = nodeCount;
  const Status status = MakeNodes(input, newCount, resized, nodeCount);
  if (Failed(status)) return status;
  std::move(&array[0], &array[0] + std::min(oldCount, newCount), &resized[0]);
  input.ReturnMemory(BlockBytes(oldCount));
  array = std::move(resized);
  return kOk;
}

/// Consumes the three bytes that end a MixedArray early: an empty name and an EndOfObject. Returns whether they came.
bool TakeEndOfEntries(ByteCursor& cursor) {
  if (cursor.remaining < 3) return false;
  if (cursor.bytes[0] != 0 || cursor.bytes[1] != 0 || cursor.bytes[2] != kAMFEndOfObject) return false;
  cursor.bytes += 3;
  cursor.remaining -= 3;
  return true;
}

}  // namespace

Status AMFValue::ReadValue(AMFInput& input) {
  const Status status = ReadUINT8(input.cursor, m_ucType);
  return Failed(status) ? status : ReadValueBody(input);
}

Status AMFValue::ReadValueBody(AMFInput& input) {
  switch (m_ucType) {
    case kAMFNull:
    case kAMFUndefined:
    case kAMFEndOfObject:
    case kAMFUnsupported:
      return kOk;
    case kAMFNumber:
      return ReadDouble(input.cursor, m_dNumber);
    case kAMFBoolean:
      return ReadBoolean(input);
    case kAMFString:
      return ReadString(input);
    case kAMFLongString:
      return ReadLongString(input);
    case kAMFDate:
      return ReadDate(input);
    case kAMFObject:
    case kAMFMixedArray:
    case kAMFArray:
      return ReadContainer(input);
    default:
      return kFailed;
  }
}

Status AMFValue::ReadBoolean(AMFInput& input) {
  std::uint8_t byte = 0;
  const Status status = ReadUINT8(input.cursor, byte);
  if (Succeeded(status)) m_bBoolean = byte != 0 ? 1 : 0;
  return status;
}

Status AMFValue::ReadString(AMFInput& input) {
  std::uint16_t length = 0;
  const Status status = ReadUINT16(input.cursor, length);
  return Failed(status) ? status : ReadText(input, length);
}

Status AMFValue::ReadLongString(AMFInput& input) {
  std::uint32_t length = 0;
  const Status status = ReadUINT32(input.cursor, length);
  return Failed(status) ? status : ReadText(input, length);
}

Status AMFValue::ReadText(AMFInput& input, std::uint32_t length) {
  m_pszString = nullptr;
  return ReadCountedString(input, length, m_pszString);
}

Status AMFValue::ReadDate(AMFInput& input) {
  const Status status = ReadDouble(input.cursor, m_dNumber);
  return Failed(status) ? status : ReadUINT16(input.cursor, m_usTimeZone);
}

Status AMFValue::ReadContainer(AMFInput& input) {
  if (input.depth >= AMFInput::kMaxDepth) return kFailed;
  ++input.depth;
  Status status = kFailed;
  if (m_ucType == kAMFArray) {
    status = ReadArray(input);
  } else if (m_ucType == kAMFMixedArray) {
    status = ReadMixedArray(input);
  } else {
    status = ReadObject(input);
  }
  --input.depth;
  return status;
}

Status AMFValue::ReadArray(AMFInput& input) {
  Status status = ReadUINT32(input.cursor, m_ulValueCount);
  if (Failed(status)) return status;
  const std::uint32_t count = m_ulValueCount;
  const bool fits = input.ReserveInput(count, kMinElementBytes);
  m_pValues = nullptr;
  status = MakeNodes(input, fits ? count : std::min(count, kFirstCapacity), m_pValues, m_ulValuesMade);

  for (std::uint32_t i = 0; Succeeded(status) && i < count; ++i) {
    if (i == m_ulValuesMade) status = ResizeArray(input, m_pValues, m_ulValuesMade, std::min(2 * i, count));
    if (Succeeded(status)) status = m_pValues[i].ReadValue(input);
  }
  return status;
}

Status AMFValue::ReadMixedArray(AMFInput& input) {
  std::uint32_t count = 0;
  Status status = ReadUINT32(input.cursor, count);
  if (Failed(status)) return status;
  m_ulNameCount = count;
  m_ulValueCount = count;
  const bool fits = input.ReserveInput(count, kMinEntryBytes);
  status = MakeEntries(input, fits ? count : std::min(count, kFirstCapacity));

  for (std::uint32_t i = 0; Succeeded(status) && i < count; ++i) {
    if (TakeEndOfEntries(input.cursor)) {
      m_ulNameCount = i;
      m_ulValueCount = i;
      break;
    }
    if (i == m_ulValuesMade) status = ResizeEntries(input, std::min(2 * i, count));
    if (Succeeded(status)) status = ReadEntry(input, i);
  }
  return status;
}

Status AMFValue::ReadObject(AMFInput& input) {
  const std::uint32_t memoryLeft = input.memoryLeft;
  // The node keeps its old entries until the new ones are complete.
  AMFValue work;
  const Status status = work.ReadObjectEntries(input);
  if (Failed(status)) {
    input.memoryLeft = memoryLeft;
    return status;
  }
  m_pNames = std::move(work.m_pNames);
  m_pValues = std::move(work.m_pValues);
  m_ulNameCount = work.m_ulNameCount;
  m_ulValueCount = work.m_ulValueCount;
  m_ulNamesMade = work.m_ulNamesMade;
  m_ulValuesMade = work.m_ulValuesMade;
  return kOk;
}

Status AMFValue::ReadObjectEntries(AMFInput& input) {
  Status status = MakeEntries(input, kFirstCapacity);
  std::uint32_t count = 0;
  bool ended = false;
  while (Succeeded(status) && !ended && input.cursor.remaining > 0) {
    if (count == m_ulValuesMade) status = ResizeEntries(input, 2 * count);
    if (Succeeded(status)) status = ReadEntry(input, count);
    if (Failed(status)) break;
    ended = m_pValues[count].m_ucType == kAMFEndOfObject;
    ++count;
  }
  // An Object without entries fails here, because an array cannot be resized to 0.
  if (Succeeded(status) && count < m_ulValuesMade) status = ResizeEntries(input, count);
  m_ulNameCount = count;
  m_ulValueCount = count;
  return status;
}

Status AMFValue::ReadEntry(AMFInput& input, std::uint32_t index) {
  AMFValue& name = m_pNames[index];
  name.m_ucType = kAMFString;
  const Status status = name.ReadValueBody(input);
  return Failed(status) ? status : m_pValues[index].ReadValue(input);
}

Status AMFValue::MakeEntries(AMFInput& input, std::uint32_t count) {
  m_pNames = nullptr;
  const Status status = MakeNodes(input, count, m_pNames, m_ulNamesMade);
  if (Failed(status)) return status;
  m_pValues = nullptr;
  return MakeNodes(input, count, m_pValues, m_ulValuesMade);
}

Status AMFValue::ResizeEntries(AMFInput& input, std::uint32_t newCount) {
  const Status status = ResizeArray(input, m_pNames, m_ulNamesMade, newCount);
  return Failed(status) ? status : ResizeArray(input, m_pValues, m_ulValuesMade, newCount);
}

}  // namespace qbflv
