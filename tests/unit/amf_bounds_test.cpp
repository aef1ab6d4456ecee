// AMF0 values: the memory, the depth and the stack that decoding may take, whatever the bytes declare.
#include <gtest/gtest.h>
#include <pthread.h>

#include <functional>
#include <string>
#include <vector>

#include "plugin/meta/amf_value.h"
#include "tests/unit/byte_text.h"
#include "tests/unit/heap_probe.h"

namespace qbflv {
namespace {

using Bytes = std::vector<std::uint8_t>;

Status Decode(const Bytes& bytes, AMFValue& value) {
  AMFInput input{ByteCursor(bytes)};
  return value.ReadValue(input);
}

void Append(Bytes& bytes, const char* text, std::size_t times = 1) {
  const Bytes piece = BytesOf(text);
  const std::size_t start = bytes.size();
  bytes.resize(start + times * piece.size());
  for (std::size_t i = start; i < bytes.size(); ++i) bytes[i] = piece[(i - start) % piece.size()];
}

void AppendU32(Bytes& bytes, std::size_t value) {
  for (int shift = 24; shift >= 0; shift -= 8) bytes.push_back(static_cast<std::uint8_t>(value >> shift));
}

/// Containers in each other, each of which declares all entries that the bytes after it could hold.
Bytes NestedClaims(const char* marker, std::size_t entryBytes, const char* name) {
  constexpr std::size_t kSize = 4000;
  Bytes bytes;
  for (std::uint32_t level = 0; level < AMFInput::kMaxDepth; ++level) {
    Append(bytes, marker);
    AppendU32(bytes, (kSize - bytes.size() - 4) / entryBytes);
    Append(bytes, name);
  }
  bytes.resize(kSize, kAMFNull);
  return bytes;
}

/// MixedArrays beside each other, each of which declares what the bytes after it could hold and ends at once.
Bytes ClaimsInARow() {
  constexpr std::size_t kSize = 40000;
  Bytes bytes = BytesOf("03");
  while (bytes.size() + 10 < kSize) {
    Append(bytes, "= 08");
    AppendU32(bytes, (kSize - bytes.size() - 4) / 3);
    Append(bytes, "000009");
  }
  Append(bytes, "= 09");
  return bytes;
}

Bytes Filled(const char* head, const char* piece, std::size_t times) {
  Bytes bytes = BytesOf(head);
  Append(bytes, piece, times);
  return bytes;
}

TEST(AMFMemory, DeclaredCounts_TakeNoMoreThanTheBytesAreWorth) {
  struct MemoryCase {
    const char* name;
    Bytes bytes;
    Status status;
  };
  const MemoryCase cases[] = {
      {"array of 4 billion", Filled("0A FFFFFFFF", "05", 15), kFailed},
      {"mixed array of 4 billion", Filled("08 FFFFFFFF", "= 05", 5), kFailed},
      {"arrays of 4 billion in each other", Filled("", "0A FFFFFFFF", 4), kFailed},
      {"mixed arrays of 4 billion in each other", Filled("", "08 FFFFFFFF =", 3), kFailed},
      {"long string of 4 billion", Filled("0C FFFFFFFF", "05", 15), kFailed},
      {"objects in each other", Filled("", "03 =", 6), kFailed},
      {"arrays that claim all bytes", NestedClaims("0A", 1, ""), kFailed},
      {"mixed arrays that claim all bytes", NestedClaims("08", 3, "="), kFailed},
      {"claims in a row", ClaimsInARow(), kOk},
      {"small values", Filled("0A 00002710", "02 =", 10000), kOk},
  };
  for (const MemoryCase& row : cases) {
    AMFValue value;
    const HeapProbe heap;
    EXPECT_EQ(row.status, Decode(row.bytes, value)) << row.name;
    // A fixed part, and nodes for each byte: those kept and those of the arrays that are being grown.
    EXPECT_LE(heap.PeakBytes(), 16 * 1024 + 3 * sizeof(AMFValue) * row.bytes.size()) << row.name;
    // The time it takes goes with the sum: a small array or two for each container, beside what stays.
    EXPECT_LE(heap.TotalBytes(), 32 * 1024 + 8 * sizeof(AMFValue) * row.bytes.size()) << row.name;
  }
}

TEST(AMFMemory, CountsAfterALongText_AreWeighedAgainstWhatRemains) {
  constexpr std::size_t kTextBytes = 60000;
  Bytes bytes = Filled("0A 00000002 02 EA60", "78", kTextBytes);
  Append(bytes, "0A 00002710 05");
  AMFValue value;
  const HeapProbe heap;
  EXPECT_EQ(kFailed, Decode(bytes, value));
  EXPECT_LE(heap.PeakBytes(), kTextBytes + 4096);
}

TEST(AMFMemory, TreeOfATag_IsBounded) {
  struct BoundCase {
    const char* name;
    Bytes bytes;
    Status status;
  };
  const auto texts = [](std::size_t count) {
    Bytes bytes = BytesOf("0A");
    AppendU32(bytes, count);
    for (std::size_t i = 0; i < count; ++i) {
      Append(bytes, "0C");
      AppendU32(bytes, 15'000'000);
      bytes.resize(bytes.size() + 15'000'000, 'x');
    }
    return bytes;
  };
  const auto objects = [](std::size_t count) {
    Bytes bytes = BytesOf("0A");
    AppendU32(bytes, count);
    for (std::size_t i = 0; i < count; ++i) {
      Append(bytes, "03");
      Append(bytes, "= 05", 100'000);
      Append(bytes, "= 09");
    }
    return bytes;
  };
  const BoundCase cases[] = {
      {"elements within", Filled("0A 000C3500", "05", 800'000), kOk},
      {"elements beyond", Filled("0A 001E8480", "05", 2'000'000), kOutOfMemory},
      {"object beyond", Filled("03", "= 05", 600'000), kOutOfMemory},
      {"unbelievable array beyond", Filled("0A FFFFFFFF", "05", 2'000'000), kOutOfMemory},
      {"unbelievable mixed array beyond", Filled("08 FFFFFFFF", "= 05", 600'000), kOutOfMemory},
      {"texts within", texts(4), kOk},
      {"texts beyond", texts(5), kOutOfMemory},
      // What arrays gave back as they grew and were cut to size is there for the next ones.
      {"objects within", objects(3), kOk},
      {"objects beyond", objects(5), kOutOfMemory},
  };
  for (const BoundCase& row : cases) {
    AMFInput input{ByteCursor(row.bytes)};
    AMFValue value;
    const HeapProbe heap;
    EXPECT_EQ(row.status, value.ReadValue(input)) << row.name;
    EXPECT_LE(heap.PeakBytes(), AMFInput::kMaxTreeBytes) << row.name;
    EXPECT_LE(heap.LiveBytes(), AMFInput::kMaxTreeBytes - input.memoryLeft) << row.name;
    value.Clear();
    EXPECT_EQ(0U, heap.LiveBytes()) << row.name;
  }
}

TEST(AMFMemory, FailedObject_GivesBackWhatItTook) {
  const Bytes bytes = BytesOf("03 =a 02 =text =b 0A 00000002 05 05 =c 12");
  AMFInput input{ByteCursor(bytes)};
  AMFValue value;
  const HeapProbe heap;
  EXPECT_EQ(kFailed, value.ReadValue(input));
  EXPECT_EQ(AMFInput::kMaxTreeBytes, input.memoryLeft);
  EXPECT_EQ(0U, heap.LiveBytes());
}

/// Runs work on a thread with a stack of 128 KiB, as a host's may be.
void RunOnASmallStack(const std::function<void()>& work) {
  constexpr std::size_t kStackBytes = 128 * 1024;
  pthread_attr_t attributes;
  ASSERT_EQ(0, pthread_attr_init(&attributes));
  ASSERT_EQ(0, pthread_attr_setstacksize(&attributes, kStackBytes));
  const auto run = [](void* argument) -> void* {
    (*static_cast<const std::function<void()>*>(argument))();
    return nullptr;
  };
  pthread_t thread{};
  ASSERT_EQ(0, pthread_create(&thread, &attributes, run, const_cast<std::function<void()>*>(&work)));
  pthread_join(thread, nullptr);
  pthread_attr_destroy(&attributes);
}

TEST(AMFDepth, Containers_NestTo128LevelsOnASmallStackAndNoDeeper) {
  const char* const kinds[] = {"0A 00000001", "08 00000001 =", "03 =", "08 FFFFFFFF =", "0A FFFFFFFF"};
  for (const char* kind : kinds) {
    for (const std::uint32_t levels : {AMFInput::kMaxDepth, AMFInput::kMaxDepth + 1, 20000U}) {
      Bytes bytes;
      Append(bytes, kind, levels);
      Append(bytes, "05");
      Status status = kOk;
      RunOnASmallStack([&] {
        AMFValue value;
        status = Decode(bytes, value);
      });
      // A count of 4 billion fails in any case, for want of bytes.
      const bool fails = levels > AMFInput::kMaxDepth || std::string(kind).find("FFFF") != std::string::npos;
      EXPECT_EQ(fails ? kFailed : kOk, status) << levels << " of " << kind;
    }
  }
}

TEST(AMFDepth, ContainersBesideEachOther_AreNoLevels) {
  AMFValue value;
  EXPECT_EQ(kOk, Decode(Filled("0A 000003E8", "0A 00000000", 1000), value));
}

}  // namespace
}  // namespace qbflv
