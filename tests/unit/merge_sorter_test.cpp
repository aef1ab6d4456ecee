// The merge sorter by scripts: what is queued, and what it releases in answer.
#include "plugin/reader/merge_sorter.h"

#include <gtest/gtest.h>

#include <sstream>
#include <string>
#include <vector>

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

ComPtr<IQBPacket> MakePacket(std::uint16_t stream, std::uint32_t time, std::uint32_t bytes, bool lost = false) {
  auto packet = host::MakeObject<TestPacket>(lost);
  const auto buffer = host::MakeObject<host::Buffer>();
  EXPECT_EQ(kOk, buffer->SetSize(bytes));
  EXPECT_EQ(kOk, packet->Set(buffer.Get(), time, stream, 0, 0));
  return ComPtr<IQBPacket>::Adopt(packet.Detach());
}

/// Runs a script of words on a sorter and answers what each "next" gave, as words:
///   a100 / v100  queues audio (stream 0) or video (stream 1) at 100 ms, with 10 bytes; A100 / V100 a lost packet
///   enda / endv  ends the stream;  flush  flushes;  next  takes the next packet;  all  takes them while there are any
/// Answers are like "a100", "wait" and "ended"; a peek before each removal must agree with it.
std::string RunScript(CMergeSorter& sorter, const std::string& script) {
  std::string answers;
  const auto take = [&] {
    ComPtr<IQBPacket> peeked;
    ComPtr<IQBPacket> taken;
    const Status peekStatus = sorter.GetNextPacket(peeked, false);
    const Status status = sorter.GetNextPacket(taken, true);
    EXPECT_EQ(peekStatus, status) << script;
    EXPECT_EQ(peeked.Get(), taken.Get()) << script;
    answers += answers.empty() ? "" : " ";
    if (status == kMustWait) answers += "wait";
    if (status == kAllStreamsEnded) answers += "ended";
    if (status == kOk) answers += (taken->GetStreamNumber() == 0 ? "a" : "v") + std::to_string(taken->GetTime());
    return status == kOk;
  };

  std::istringstream words(script);
  for (std::string word; words >> word;) {
    if (word == "next") {
      take();
    } else if (word == "all") {
      while (take()) continue;
    } else if (word == "flush") {
      sorter.Flush();
    } else if (word.starts_with("end")) {
      EXPECT_EQ(kOk, sorter.SetStreamEnded(word == "enda" ? 0 : 1));
    } else {
      const bool lost = word[0] == 'A' || word[0] == 'V';
      const std::uint16_t stream = word[0] == 'a' || word[0] == 'A' ? 0 : 1;
      const auto time = static_cast<std::uint32_t>(std::stoul(word.substr(1)));
      EXPECT_EQ(kOk, sorter.AddPacket(MakePacket(stream, time, 10, lost))) << word;
    }
  }
  return answers;
}

struct Case {
  const char* name;
  MergeSorterLimits limits;
  const char* script;
  const char* answers;
};

constexpr MergeSorterLimits kUsual{.maxPackets = 1000, .maxTimespan = 10000, .maxBytes = 0xFFFFFFFF};

class MergeSorterScripts : public testing::TestWithParam<Case> {};

TEST_P(MergeSorterScripts, ReleasesInOrderAndWaitsAsItShould) {
  CMergeSorter sorter;
  ASSERT_EQ(kOk, sorter.Initialize(2, GetParam().limits));
  EXPECT_EQ(GetParam().answers, RunScript(sorter, GetParam().script)) << GetParam().script;
}

INSTANTIATE_TEST_SUITE_P(
    MergeSorter, MergeSorterScripts,
    testing::Values(
        Case{"WaitsForAnEmptyStreamUntilItEnds", kUsual, "a100 a123 next endv all enda next",
             "wait a100 a123 wait ended"},
        Case{"TiesGoToTheLowerStream", kUsual, "v100 a100 next next", "a100 wait"},
        Case{"TimesThatWrapAreInSerialOrder", kUsual, "v5 a4294967290 next", "a4294967290"},
        Case{"InterleavesUntilOneRunsDry", kUsual, "a0 a23 a46 v0 v40 all", "a0 v0 a23 v40 wait"},
        Case{"TimespanPassed_ReleasesDespiteAnEmptyStream", kUsual, "a5000 a15000 next a15001 next next",
             "wait a5000 wait"},
        Case{"CountPassed_Releases", {3, 10000, 0xFFFFFFFF}, "a1 a2 a3 next a4 all", "wait a1 wait"},
        Case{"BytesPassed_Releases", {1000, 10000, 30}, "a1 a2 a3 next a4 all", "wait a1 wait"},
        Case{"LostPacketsCountNoBytesAndNoTail", {1000, 10000, 30}, "A1 A2 A3 A90000 next", "wait"},
        Case{"LostHeadKeepsTheHeadTime", kUsual, "a100 A200 a300 v150 endv enda all", "a100 a200 v150 a300 ended"},
        Case{"DecreasingTimesStayInArrivalOrder", kUsual, "a100 a50 v70 enda endv all", "v70 a100 a50 ended"},
        Case{"FlushForgetsPacketsAndEnds", kUsual, "a1 v1 enda endv flush next v7 next a9 next", "wait wait v7"},
        Case{"NothingQueuedAndNothingEnded_Waits", kUsual, "next enda next endv next", "wait wait ended"}),
    [](const auto& test) { return std::string(test.param.name); });

TEST(MergeSorter, BeforeInitialize_RefusesEverything) {
  CMergeSorter sorter;
  ComPtr<IQBPacket> packet;
  EXPECT_EQ(kInvalidState, sorter.AddPacket(MakePacket(0, 0, 1)));
  EXPECT_EQ(kInvalidState, sorter.GetNextPacket(packet, true));
  EXPECT_EQ(kInvalidState, sorter.SetStreamEnded(0));
  EXPECT_FALSE(sorter.IsStreamEnded(0));
  EXPECT_EQ(0U, sorter.GetQueuedCount(0));
  sorter.Flush();
}

TEST(MergeSorter, StreamsOutOfRange_AreInvalid) {
  CMergeSorter sorter;
  EXPECT_EQ(kInvalidArgument, sorter.Initialize(0, kUsual));
  ASSERT_EQ(kOk, sorter.Initialize(2, kUsual));
  EXPECT_EQ(kInvalidArgument, sorter.AddPacket(MakePacket(2, 0, 1)));
  EXPECT_EQ(kInvalidArgument, sorter.SetStreamEnded(2));
  EXPECT_FALSE(sorter.IsStreamEnded(2));
  EXPECT_EQ(0U, sorter.GetQueuedCount(2));
}

TEST(MergeSorter, QueuedPackets_AreHeldOnceAndReleasedOnFlushInitializeAndEnd) {
  const auto packet = MakePacket(0, 0, 1);
  const auto references = [&] {
    packet->AddRef();
    return packet->Release();
  };
  CMergeSorter sorter;
  ASSERT_EQ(kOk, sorter.Initialize(2, kUsual));
  for (const bool flush : {true, false}) {
    ASSERT_EQ(kOk, sorter.AddPacket(packet));
    EXPECT_EQ(2U, references());
    EXPECT_EQ(1U, sorter.GetQueuedCount(0));
    if (flush) {
      sorter.Flush();
    } else {
      ASSERT_EQ(kOk, sorter.Initialize(1, kUsual));
    }
    EXPECT_EQ(1U, references()) << "flush " << flush;
  }
  {
    CMergeSorter ended;
    ASSERT_EQ(kOk, ended.Initialize(1, kUsual));
    ASSERT_EQ(kOk, ended.AddPacket(packet));
  }
  EXPECT_EQ(1U, references());
}

}  // namespace
}  // namespace qbflv
