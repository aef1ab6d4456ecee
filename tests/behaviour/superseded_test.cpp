// Operations that a seek or another file supersedes: their stale completions come late, in any order beside the new
// ones, and change nothing but the file's position.
#include <gtest/gtest.h>

#include <optional>
#include <regex>

#include "tests/support/seek_script.h"

namespace qbflv::test {
namespace {

using Lines = CallLog::Lines;

constexpr std::uint32_t kTime = 250;

FileScript Later(const FlvBuilder& flv) { return {.bytes = flv.File(), .completes = Completes::kLater}; }

/// Of a session: from the opening on, or a seek to the start and what follows when all positions are known already.
enum class Pass { kFirst, kAgain };

/// Brings a session to its n-th completion; false when it has fewer. The next operation is pending then.
bool BringTo(ScriptedHost& host, Pass pass, int completions) {
  if (pass == Pass::kAgain) host.Play();
  host.CompleteByHand();
  if (pass == Pass::kFirst) {
    host.PlayNested();
  } else {
    host.Seek(0);
    host.AskForAll();
  }
  for (int i = 0; i < completions && host.file->Pending() > 0; ++i) host.file->Complete();
  return host.file->Pending() == 1;
}

/// The log begins at the seek. As far as the walk does not depend on which positions are known.
void ExpectSeekAndAllPackets(ScriptedHost& host) {
  host.ReactInside(false);
  const SeekOutcome outcome = FinishSeek(host, SeekFile());
  static const std::regex kWalkToTheTime("(@[0-9]+ r )+@5 ok");
  EXPECT_TRUE(std::regex_match(outcome.walk, kWalkToTheTime)) << outcome.walk;
  EXPECT_EQ("s0 t200 s1 t200 s0 t300 s1 t300 s0 t400 s1 t400 s0 t500 s0 done s1 t500 s1 done", outcome.delivered);
}

/// A file object completes its reads in their order, and its seeks in theirs. So the stale completion comes first, or
/// after those of the seeks that superseded a read. (Of two seeks that succeed nobody can tell which is which.)
TEST(Superseded, BySeeks_AnyOperationGoesAsIfItHadNotBeen) {
  int moments = 0;
  const auto run = [&](const std::vector<std::uint32_t>& times, std::size_t seeksFirst, bool fails, Pass pass, int n) {
    ScriptedHost host({.file = Later(SeekFile())});
    if (!BringTo(host, pass, n)) return false;
    if (host.log.Count("FileHeaderReady") == 0) return true;
    const bool isSeek = host.log.Only({"Read(", "Seek("}).back().starts_with("Seek(");
    if (fails && isSeek && seeksFirst > 0) return true;
    ++moments;
    host.ReactInside(false);
    for (const std::uint32_t time : times) {
      host.log.Clear();  // of several seeks the last one counts
      EXPECT_EQ(kOk, host.Seek(time));
    }
    EXPECT_EQ(times.size() + 1, host.file->Pending());
    const auto complete = [&](std::size_t which, bool isStale) {
      const std::size_t size = host.log.Size();
      const std::optional<Status> failure = fails && isStale ? std::optional<Status>(kFailed) : std::nullopt;
      EXPECT_EQ(Hex(isStale ? kInvalidState : kOk), Hex(host.file->Complete(which, failure)));
      EXPECT_TRUE(!isStale || size == host.log.Size()) << host.log.All().back();
    };
    // Which completion the last seek waits for: with a seek superseded, that of the last one given.
    for (std::size_t i = 1; i <= seeksFirst; ++i) complete(1, isSeek || i < times.size());
    complete(0, !isSeek || seeksFirst < times.size());
    for (std::size_t i = seeksFirst + 1; i < times.size(); ++i) complete(0, true);
    ExpectSeekAndAllPackets(host);
    return !testing::Test::HasFailure();
  };
  const std::vector<std::vector<std::uint32_t>> issued{{kTime}, {450, kTime}, {450, 0, kTime}};
  for (const std::vector<std::uint32_t>& times : issued) {
    for (std::size_t seeksFirst = 0; seeksFirst <= times.size(); ++seeksFirst) {
      for (const bool fails : {false, true}) {
        for (const Pass pass : {Pass::kFirst, Pass::kAgain}) {
          for (int n = 0;; ++n) {
            SCOPED_TRACE(std::to_string(times.size()) + " seeks, " + std::to_string(seeksFirst) + " completed first" +
                         (fails ? ", stale ones fail" : "") + (pass == Pass::kFirst ? ", first" : ", again") +
                         " pass, after completion " + std::to_string(n));
            if (!run(times, seeksFirst, fails, pass, n)) break;
          }
        }
      }
    }
  }
  EXPECT_GT(moments, 500) << "every operation of both passes";
}

/// A file with the same kinds of operations as the small one.
FlvBuilder Other() {
  return FlvBuilder(kBoth).Metadata(QuickMetadata()).Audio(0, 30).Video(0, 40).Video(40, 41).Audio(46, 31);
}

TEST(Superseded, ByASecondFile_ChangesNothing) {
  ScriptedHost fresh({.file = Later(Other())});
  fresh.PlayNested(20);
  int operations = 0;
  for (bool hasMore = true; hasMore; ++operations) {
    bool isLate = true;
    for (int newCompletions = 0; isLate; ++newCompletions) {
      ScriptedHost host({.file = Later(SmallFile())});
      host.CompleteByHand();
      host.PlayNested(20);
      for (int i = 0; i < operations && host.file->Pending() > 0; ++i) host.file->Complete();
      hasMore = host.file->Pending() > 0;
      if (!hasMore) break;
      const ComPtr<ScriptedFile> old = host.file;
      host.log.Clear();
      host.UseFile(Later(Other()));
      EXPECT_EQ(kOk, host.InitFileFormat());
      for (int i = 0; i < newCompletions && host.file->Pending() > 0; ++i) host.file->Complete();
      isLate = host.file->Pending() > 0;
      const std::size_t size = host.log.Size();
      EXPECT_EQ(Hex(kInvalidState), Hex(old->Complete()));
      ASSERT_EQ(size, host.log.Size()) << "the stale completion had an effect: " << host.log.All().back();
      host.Pump();
      ASSERT_EQ(fresh.log.All(), host.log.All()) << "operation " << operations << " after " << newCompletions;
    }
  }
  EXPECT_GT(operations, 40) << "every operation of the small file";
}

/// A seek that fails leaves the file where the operation that it superseded leads, whenever that completes.
TEST(Superseded, ByASeekThatFails_StillMovesThePosition) {
  FlvBuilder flv = FlvBuilder(kBoth).Metadata(QuickMetadata()).Audio(0, 30).Video(0, 40);
  flv.Tag(kScriptTag, 0, Bytes(20, 5)).Audio(20, 30).Video(20, 40).Audio(40, 30);
  const struct {
    const char* name;
    std::string superseded;
    std::size_t completedFirst;
    const char* firstPacket;
  } cases[] = {{"skip", "Seek(" + std::to_string(flv.Field(1)) + ")", 0, "s0 t0"},
               {"body, completed in order", "Read(30)", 0, "s1 t0"},
               {"body, completed after the seek", "Read(30)", 1, "s1 t0"}};
  for (const auto& row : cases) {
    SCOPED_TRACE(row.name);
    // The second seek to the first tag; the first one ended the header scan.
    FileScript file = Later(flv);
    file.accessHint = kPrefersLinearAccess;
    file.rules = {{.operation = "Seek(9)", .occurrence = 2, .status = kFailed}};
    ScriptedHost host({.file = file});
    ASSERT_TRUE(host.ReadHeaders());
    host.CompleteByHand();
    host.GetPacket(0);
    while (host.log.All().back() != row.superseded) host.file->Complete();
    EXPECT_EQ(kOk, host.Seek(300));
    ASSERT_EQ(2U, host.file->Pending());
    host.file->Complete(row.completedFirst);
    host.file->Complete();
    EXPECT_EQ(1U, host.log.Count("SeekDone 0x80004005"));

    host.AskForAll();
    host.Pump();
    EXPECT_EQ(row.firstPacket, host.log.Delivered().front());
    EXPECT_EQ(1U, host.log.Count("Seek(" + std::to_string(flv.Field(4)) + ")")) << "the skip over the script data";
    EXPECT_EQ(1U, host.log.Count("PacketReady s=1 t=20")) << "which stands after it";
  }
}

/// The position after several seeks, of which the last fails, is the target of the last that succeeded: the skip over
/// the script data leads to the tag behind it.
TEST(Superseded, BySeeksOfWhichOneSucceeds_LeavesTheTargetOfThatOne) {
  const auto build = [](const std::vector<double>& positions) {
    return TagsOf("a0 k0 s0 a1000 k1000 s1000 a2000 k2000 s2000 a3000 k3000",
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

}  // namespace
}  // namespace qbflv::test
