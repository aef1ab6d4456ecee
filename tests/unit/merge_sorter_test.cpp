// The merge sorter: packets that were lost, and what is refused. The structures fuzzer compares the rest with a model.
#include "plugin/reader/merge_sorter.h"

#include <gtest/gtest.h>

#include <sstream>
#include <string>

#include "host/buffer.h"
#include "host/com_object.h"
#include "host/packet.h"

namespace qbflv {
namespace {

class TestPacket final : public host::BasicPacket<IQBPacket> {
 public:
  explicit TestPacket(bool lost) : m_lost(lost) {}
  BOOL IsLost() override { return m_lost ? 1 : 0; }

 private:
  bool m_lost;
};

/// Of 10 bytes. Such as v100 for video (stream 1) at 100 ms; a is audio (stream 0); in capitals the packet was lost.
ComPtr<IQBPacket> MakePacket(const std::string& word) {
  const auto packet = host::MakeObject<TestPacket>(word[0] < 'a');
  const auto buffer = host::MakeObject<host::Buffer>();
  EXPECT_EQ(kOk, buffer->SetSize(10));
  const std::uint16_t stream = word[0] == 'v' || word[0] == 'V' ? 1 : 0;
  EXPECT_EQ(kOk, packet->Set(buffer.Get(), static_cast<std::uint32_t>(std::stoul(word.substr(1))), stream, 0, 0));
  return packet.Query<IQBPacket>();
}

constexpr MergeSorterLimits k30Bytes{.maxPackets = 1000, .maxTimespan = 10000, .maxBytes = 30};

TEST(MergeSorter, LostPackets_CountNoBytesAndNoTime) {
  const std::pair<const char*, const char*> cases[] = {
      {"a1 a2 a3 a4", "a1 wait"},
      {"A1 A2 A3 A90000", "wait"},
      {"a100 A200 a300 v150 ends", "a100 a200 v150 a300 ended"},
  };
  for (const auto& [script, expected] : cases) {
    CMergeSorter sorter;
    ASSERT_EQ(kOk, sorter.Initialize(2, k30Bytes));
    std::istringstream words(script);
    for (std::string word; words >> word;) {
      if (word != "ends") {
        EXPECT_EQ(kOk, sorter.AddPacket(MakePacket(word))) << script;
        continue;
      }
      for (const std::uint32_t stream : {0U, 1U}) EXPECT_EQ(kOk, sorter.SetStreamEnded(stream)) << script;
    }
    std::string released;
    ComPtr<IQBPacket> packet;
    Status status = kOk;
    while ((status = sorter.GetNextPacket(packet, true)) == kOk) {
      released += (packet->GetStreamNumber() == 0 ? "a" : "v") + std::to_string(packet->GetTime()) + " ";
    }
    EXPECT_EQ(expected, released + (status == kMustWait ? "wait" : "ended")) << script;
  }
}

TEST(MergeSorter, StreamsOutOfRangeAndBeforeInitialize_AreRefused) {
  CMergeSorter sorter;
  ComPtr<IQBPacket> packet;
  sorter.Flush();
  EXPECT_EQ(kInvalidState, sorter.GetNextPacket(packet, true));
  EXPECT_EQ(kInvalidArgument, sorter.Initialize(0, k30Bytes));
  for (const Status refusal : {kInvalidState, kInvalidArgument}) {
    EXPECT_EQ(refusal, sorter.AddPacket(MakePacket("v0")));
    EXPECT_EQ(refusal, sorter.SetStreamEnded(1));
    EXPECT_FALSE(sorter.IsStreamEnded(1));
    EXPECT_EQ(0U, sorter.GetQueuedCount(1));
    EXPECT_EQ(kOk, sorter.Initialize(1, k30Bytes));
  }
  EXPECT_EQ(kOk, sorter.AddPacket(MakePacket("a0")));
  EXPECT_EQ(kOk, sorter.Initialize(1, k30Bytes));
  EXPECT_EQ(kMustWait, sorter.GetNextPacket(packet, true)) << "what was queued is gone";
}

}  // namespace
}  // namespace qbflv
