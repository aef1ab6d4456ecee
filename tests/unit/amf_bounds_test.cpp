// AMF0 values: the memory, the depth and the stack that decoding may take, whatever the bytes declare.
#include <gtest/gtest.h>

#include <vector>

#include "plugin/meta/amf_value.h"
#include "tests/support/library_heap.h"
#include "tests/support/small_stack.h"
#include "tests/unit/byte_text.h"

namespace qbflv {
namespace {

using Bytes = std::vector<std::uint8_t>;

/// The head, and the piece so many times.
Bytes Filled(const char* head, const Bytes& piece, std::size_t times) {
  Bytes bytes = BytesOf(head);
  for (std::size_t i = 0; i < times; ++i) bytes.insert(bytes.end(), piece.begin(), piece.end());
  return bytes;
}

TEST(AMFMemory, OfATagsTree_IsBounded) {
  test::WatchNothrow();
  Bytes text = BytesOf("0C 00E4E1C0");
  text.resize(text.size() + 15'000'000, 'x');
  Bytes object = Filled("03", BytesOf("= 05"), 100'000);
  object.insert(object.end(), {0, 0, 9});
  const struct {
    const char* name;
    Bytes bytes;
    Status status;
  } cases[] = {
      {"elements within", Filled("0A 000C3500", BytesOf("05"), 800'000), kOk},
      {"elements beyond", Filled("0A 001E8480", BytesOf("05"), 2'000'000), kOutOfMemory},
      {"object beyond", Filled("03", BytesOf("= 05"), 600'000), kOutOfMemory},
      {"unbelievable array beyond", Filled("0A FFFFFFFF", BytesOf("05"), 2'000'000), kOutOfMemory},
      {"unbelievable mixed array beyond", Filled("08 FFFFFFFF", BytesOf("= 05"), 600'000), kOutOfMemory},
      {"arrays of 4 billion in each other", Filled("", BytesOf("0A FFFFFFFF"), 4), kFailed},
      {"texts within", Filled("0A 00000004", text, 4), kOk},
      {"texts beyond", Filled("0A 00000005", text, 5), kOutOfMemory},
      // What arrays gave back as they grew and were cut to size is there for the next ones.
      {"objects within", Filled("0A 00000003", object, 3), kOk},
      {"objects beyond", Filled("0A 00000005", object, 5), kOutOfMemory},
      {"a failed object", BytesOf("03 =a 02 =text =b 0A 00000002 05 05 =c 12"), kFailed},
  };
  for (const auto& row : cases) {
    const std::int64_t before = test::ReadLibraryHeap().bytes;
    test::ForgetPeak();
    AMFInput input{ByteCursor(row.bytes)};
    AMFValue value;
    EXPECT_EQ(row.status, value.ReadValue(input)) << row.name;
    EXPECT_LE(test::ReadLibraryHeap().peakBytes - before, AMFInput::kMaxTreeBytes) << row.name;
    EXPECT_LE(test::ReadLibraryHeap().bytes - before, AMFInput::kMaxTreeBytes - input.memoryLeft) << row.name;
    value.Clear();
    EXPECT_EQ(before, test::ReadLibraryHeap().bytes) << row.name;
  }
}

TEST(AMFDepth, Containers_NestTo128LevelsOnASmallStackAndNoDeeper) {
  const std::pair<const char*, Status> kinds[] = {
      {"0A 00000001", kOk},
      {"08 00000001 =", kOk},
      {"03 =", kOk},
      // A count of 4 billion fails in any case: the bytes end before.
      {"0A FFFFFFFF", kFailed},
  };
  for (const auto& [kind, within] : kinds) {
    for (const std::uint32_t levels : {AMFInput::kMaxDepth, AMFInput::kMaxDepth + 1, 20000U}) {
      Bytes bytes = Filled("", BytesOf(kind), levels);
      bytes.push_back(kAMFNull);
      Status status = kOk;
      test::RunOnASmallStack([&] {
        AMFInput input{ByteCursor(bytes)};
        AMFValue value;
        status = value.ReadValue(input);
      });
      EXPECT_EQ(levels > AMFInput::kMaxDepth ? kFailed : within, status) << levels << " of " << kind;
    }
  }
}

}  // namespace
}  // namespace qbflv
