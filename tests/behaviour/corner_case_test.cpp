// Rare sequences of calls: hosts that call back while their objects are released, memory that runs out, operations that
// are superseded one after the other.
#include <gtest/gtest.h>

#include <algorithm>
#include <utility>

#include "tests/support/library_heap.h"
#include "tests/support/seek_script.h"

namespace qbflv::test {
namespace {

using Lines = CallLog::Lines;

Lines PlayedAlone(const FlvBuilder& flv) {
  ScriptedHost host({.file = {.bytes = flv.File()}});
  host.Play();
  return host.log.Delivered();
}

/// Goes on with a file that InitFileFormat has opened.
Lines PlayOn(ScriptedHost& host) {
  host.GetFileHeader();
  host.GetStreamHeader(0);
  host.GetStreamHeader(1);
  host.log.Clear();
  host.AskForAll();
  return host.log.Delivered();
}

/// The object is still whole when it closes its file for the last time, and refuses to start anew.
TEST(CornerCase, RequestsInsideTheCloseOfTheLastRelease_AreRefused) {
  ScriptedHost host({.file = {.bytes = SmallFile().File()}});
  const std::uint32_t references = OtherReferences(host.file.Get());
  ASSERT_TRUE(host.ReadHeaders());
  IQBPlugin* const plugin = host.plugin.Get();
  IQBFileFormatObject* const format = host.format.Get();
  int calls = 0;
  host.faults.OnAsked([&](Asked asked) {
    if (asked != Asked::kClose) return;
    ++calls;
    const char* description = nullptr;
    const char* const* types = nullptr;
    EXPECT_EQ(kOk, plugin->GetPluginInfo(nullptr, &description, nullptr, nullptr, nullptr));
    EXPECT_STREQ("Quelbar FLV File Format Plugin", description);
    EXPECT_EQ(kOk, format->GetFileFormatInfo(&types, nullptr, nullptr));
    EXPECT_EQ(kInvalidState, plugin->InitPlugin(host.context->AsUnknown()));
    EXPECT_EQ(kInvalidState, format->InitFileFormat(host.request.Get(), host.sink.Get(), host.file.Get()));
  });
  host.ReleasePlugin();
  EXPECT_EQ(1, calls);
  EXPECT_EQ(references, OtherReferences(host.file.Get()));
}

/// The request is read with the context that the object had: it closes and releases it in the middle.
TEST(CornerCase, CloseInsideTheRequest_KeepsTheContextToTheEndOfTheCall) {
  for (int nth = 1; nth <= 3; ++nth) {
    SCOPED_TRACE("call " + std::to_string(nth) + " of the request");
    ScriptedHost host({.file = {.bytes = SmallFile().File()}});
    ASSERT_EQ(kOk, host.InitPlugin());
    int calls = 0;
    host.faults.OnAsked([&](Asked asked) {
      if (asked != Asked::kRequest || ++calls != nth) return;
      EXPECT_EQ(kOk, host.format->Close());
      host.context = nullptr;
    });
    EXPECT_EQ(kInvalidState, host.InitFileFormat());
    EXPECT_EQ(Lines{"Close"}, host.log.All());
    host.faults.OnAsked(nullptr);
  }
}

/// The headers are read also when the URL cannot be.
TEST(CornerCase, RequestWithoutAURL_IsStillAskedForItsHeaders) {
  ScriptedHost host({.file = {.bytes = SmallFile().File()}});
  ASSERT_EQ(kOk, host.InitPlugin());
  int calls = 0;
  host.faults.Arm({.asked = {Asked::kRequest}, .how = Failing::kRefuses, .nth = 2});
  host.faults.OnAsked([&](Asked asked) { calls += asked == Asked::kRequest ? 1 : 0; });
  EXPECT_EQ(kInvalidState, host.InitFileFormat());
  EXPECT_EQ(3, calls) << "headers for AcceptMetaInfo, URL, headers";
}

/// Seek and Close release the queued packets; the host starts on another file there.
TEST(CornerCase, AnotherFileInsideTheLastReleaseOfAQueuedPacket_IsPlayedWhole) {
  const FlvBuilder other = SeekFile();
  for (const bool closes : {false, true}) {
    SCOPED_TRACE(closes ? "Close" : "Seek");
    ScriptedHost host({.file = {.bytes = SmallFile().File()}});
    ASSERT_TRUE(host.ReadHeaders());
    ASSERT_EQ(kOk, host.GetPacket(0));
    bool released = false;
    host.faults.OnAsked([&](Asked asked) {
      if (asked != Asked::kEndPacket || std::exchange(released, true)) return;
      EXPECT_EQ(kOk, host.format->Close());
      EXPECT_EQ(kOk, host.InitPlugin());
      host.UseFile({.bytes = other.File()});
      EXPECT_EQ(kOk, host.InitFileFormat());
    });
    EXPECT_EQ(kOk, closes ? host.Close() : host.Seek(0));
    ASSERT_TRUE(released);
    EXPECT_EQ(0U, host.log.Count("SeekDone"));
    EXPECT_EQ(PlayedAlone(other), PlayOn(host));
  }
}

/// Also of lists that are released because a property could not be set in them.
TEST(CornerCase, CloseInsideTheLastReleaseOfAList_EndsTheSession) {
  for (int refusedProperty = 0; refusedProperty < 20; ++refusedProperty) {
    bool closed = true;
    for (int nth = 1; closed; ++nth) {
      SCOPED_TRACE("list " + std::to_string(nth) + ", property " + std::to_string(refusedProperty));
      ScriptedHost host({.file = {.bytes = SmallFile().File()},
                         .fault = {.asked = {Asked::kSetProperty}, .how = Failing::kRefuses, .nth = refusedProperty}});
      int left = nth;
      closed = false;
      host.faults.OnAsked([&](Asked asked) {
        if (asked != Asked::kEndList || --left != 0) return;
        closed = true;
        EXPECT_EQ(kOk, host.format->Close());
      });
      host.Open();
      host.GetFileHeader();
      host.GetStreamHeader(0);
      host.GetStreamHeader(1);
      host.faults.OnAsked(nullptr);
      EXPECT_TRUE(!closed || host.GetPacket(0) == kInvalidState);
    }
  }
}

/// The position after several seeks, of which the last fails, is the target of the last that succeeded: the skip over
/// the script data leads to the tag behind it.
TEST(CornerCase, SupersededSeeksOfWhichSomeFail_LeaveTheTargetOfTheLastThatSucceeded) {
  const auto build = [](const std::vector<double>& positions) {
    return TagsOf(kBoth, "a0 k0 s0 a1000 k1000 s1000 a2000 k2000 s2000 a3000 k3000",
                  {{"keyframes", amf::KeyFrames({0, 1, 2, 3}, positions)}});
  };
  const FlvBuilder first = build({0, 0, 0, 0});
  const auto at = [&](std::size_t tag) { return first.Field(tag) + 4.0; };
  const FlvBuilder flv = build({at(2), at(5), at(8), at(11)});
  // The index keeps the first and the third key frame.
  const struct {
    std::size_t key;
    std::uint32_t time;
  } seeks[] = {{2, 500}, {8, 2500}, {2, 1500}, {8, 3500}};
  for (int succeeded = 0; succeeded < 3; ++succeeded) {
    SCOPED_TRACE("only seek " + std::to_string(succeeded) + " succeeds");
    int issued = -1;
    FileScript file{.bytes = flv.File(), .completes = Completes::kLater, .accessHint = kPrefersLinearAccess};
    file.decide = [&](Asked asked, std::uint32_t /*count*/) {
      const bool fails = asked == Asked::kSeek && issued >= 0 && issued++ != succeeded && issued <= 4;
      return Rule{.status = fails ? kFailed : kOk};
    };
    ScriptedHost host({.file = file});
    ASSERT_TRUE(host.ReadHeaders());
    host.CompleteByHand();
    host.log.Clear();
    issued = 0;
    for (const auto& seek : seeks) EXPECT_EQ(kOk, host.Seek(seek.time));
    EXPECT_EQ("Seek(" + std::to_string(flv.Field(seeks[succeeded].key)) + ")",
              host.log.All().at(static_cast<std::size_t>(succeeded)));
    host.Pump();
    EXPECT_EQ(1U, host.log.Count("SeekDone 0x80004005"));
    host.CompleteByHand(false);
    host.log.Clear();
    host.AskForAll();
    const std::string skip = "Seek(" + std::to_string(flv.Field(seeks[succeeded].key + 2)) + ")";
    EXPECT_EQ(skip, host.log.Only({"Seek("}).front()) << "behind the script data that follows the key frame";
  }
}

/// Stale completions of one file are not waited for in the next.
TEST(CornerCase, SecondFileAfterASupersededRead_GetsItsOwnCompletions) {
  ScriptedHost host({.file = {.bytes = SmallFile().File(), .completes = Completes::kLater}});
  ASSERT_TRUE(host.ReadHeaders());
  host.CompleteByHand();
  ASSERT_EQ(kOk, host.GetPacket(0));
  ASSERT_EQ(kOk, host.Seek(0));
  host.CompleteByHand(false);
  host.UseFile({.bytes = SeekFile().File(), .completes = Completes::kLater});
  EXPECT_EQ(kOk, host.InitFileFormat());
  EXPECT_EQ(PlayedAlone(SeekFile()), PlayOn(host));
}

/// Key frames that a failed file listed do not get into the index of the next one, which has no metadata.
TEST(CornerCase, SecondFileAfterAFailedOneWithKeyFrames_IsSoughtByItsOwn) {
  const FlvBuilder failed =
      FlvBuilder(kBoth).Metadata(QuickMetadata({{"keyframes", amf::KeyFrames({0.1, 0.2}, {50, 60})}})).Tag(15, 0, {1});
  FlvBuilder plain(kBoth);
  for (std::uint32_t time = 0; time < 500; time += 100) plain.Audio(time, 20).Video(time, 30);
  const auto seek = [](ScriptedHost& host) {
    host.GetFileHeader();
    host.log.Clear();
    EXPECT_EQ(kOk, host.Seek(250));
    return host.log.All();
  };
  ScriptedHost fresh({.file = {.bytes = plain.File()}});
  ASSERT_TRUE(fresh.Open());
  ScriptedHost host({.file = {.bytes = failed.File()}});
  ASSERT_TRUE(host.Open());
  host.GetFileHeader();
  ASSERT_EQ("FileHeaderReady 0x80040009 null", host.log.All().back());
  host.UseFile({.bytes = plain.File()});
  EXPECT_EQ(kOk, host.InitFileFormat());
  EXPECT_EQ(seek(fresh), seek(host));
}

TEST(CornerCase, RequestBeforeTheLastStreamHeader_IsServedAfterIt) {
  ScriptedHost host({.file = {.bytes = SmallFile().File()}});
  ASSERT_TRUE(host.OpenAndReadFileHeader());
  EXPECT_EQ(kOk, host.GetPacket(0));
  host.GetStreamHeader(0);
  const std::size_t before = host.log.Size();
  host.GetStreamHeader(1);
  const Lines served = host.log.From(before);
  ASSERT_LE(2U, served.size());
  EXPECT_TRUE(served[0].starts_with("StreamHeaderReady")) << served[0];
  EXPECT_EQ("Read(15)", served[1]);
}

/// Whatever allocation fails, the same request succeeds when memory is back: a file header, or packets after a seek.
TEST(CornerCase, RequestsAfterAnAllocationFailure_SucceedAgain) {
  const Lines played = PlayedAlone(SeekFile());
  bool hasStruck = true;
  for (int nth = 1; hasStruck; ++nth) {
    SCOPED_TRACE("allocation " + std::to_string(nth));
    ScriptedHost host({.file = {.bytes = SeekFile().File()}});
    ASSERT_TRUE(host.Open());
    {
      const HeapShortage shortage(nth, Shortage::kReturnsNull, false);
      host.GetFileHeader();
      host.GetStreamHeader(0);
      host.GetStreamHeader(1);
      host.AskForAll();
      hasStruck = shortage.Struck();
    }
    if (host.log.Count("FileHeaderReady 0x00000000") == 0) {
      EXPECT_EQ(1U, host.log.Count("FileHeaderReady 0x8007000E null")) << testing::PrintToString(host.log.All());
      host.GetFileHeader();
    }
    host.GetStreamHeader(0);
    host.GetStreamHeader(1);
    host.Seek(0);
    host.log.Clear();
    host.AskForAll();
    // An index with only one stream's positions may restart at that stream's first packet.
    const Lines delivered = host.log.Delivered();
    ASSERT_TRUE(delivered.size() == played.size() || delivered.size() + 1 == played.size()) << Joined(delivered);
    EXPECT_TRUE(std::equal(delivered.rbegin(), delivered.rend(), played.rbegin())) << Joined(delivered);
  }
}

}  // namespace
}  // namespace qbflv::test
