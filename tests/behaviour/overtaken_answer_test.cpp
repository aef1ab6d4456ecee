// Answers to operations that were overtaken: they come late, in any order beside the new ones, and change nothing.
#include <gtest/gtest.h>

#include "tests/support/scripted_host.h"

namespace qbflv::test {
namespace {

using Lines = CallLog::Lines;

FileScript Waiting(const FlvBuilder& flv) { return {.bytes = flv.File(), .answers = Answers::kLater}; }

/// Another file than the small one, with the same kinds of operations.
FlvBuilder Other() {
  return FlvBuilder(kBoth).Metadata(QuickMetadata()).Audio(0, 30).Video(0, 40).Video(40, 41).Audio(46, 31);
}

Lines FreshLog() {
  ScriptedHost fresh({.file = Waiting(Other())});
  fresh.PlayNested();
  return fresh.log.All();
}

/// Lets the old session come to its n-th answer; false when it has fewer.
bool BringToAnswer(ScriptedHost& host, int n) {
  host.AnswerByHand();
  host.PlayNested();
  for (int i = 0; i < n && host.file->Waiting() > 0; ++i) host.file->Answer();
  return host.file->Waiting() > 0;
}

/// Overtakes the n-th operation of the first file by a second file, and gives the old answer when the new session has
/// had that many.
template <typename Overtake>
void ExpectUnmoved(Overtake overtake) {
  const Lines fresh = FreshLog();
  int oldAnswers = 0;
  for (bool more = true; more; ++oldAnswers) {
    bool late = true;
    for (int newAnswers = 0; late; ++newAnswers) {
      ScriptedHost host({.file = Waiting(SmallFile())});
      if (!BringToAnswer(host, oldAnswers)) {
        more = false;
        break;
      }
      const ComPtr<ScriptedFile> old = host.file;
      const std::size_t before = overtake(host);
      for (int i = 0; i < newAnswers && host.file->Waiting() > 0; ++i) host.file->Answer();
      late = host.file->Waiting() > 0;
      ASSERT_EQ(1u, old->Waiting());
      const std::size_t size = host.log.Size();
      old->Answer();
      ASSERT_EQ(size, host.log.Size()) << "the late answer had an effect: " << host.log.All().back();
      host.Pump();
      ASSERT_EQ(fresh, host.log.From(before)) << "operation " << oldAnswers << " answered after " << newAnswers;
    }
  }
  EXPECT_GT(oldAnswers, 30) << "every operation of the small file";
  EXPECT_EQ(kOk, Exports().canUnload());
}

TEST(OvertakenAnswers, ByASecondFile_ChangeNothing) {
  ExpectUnmoved([](ScriptedHost& host) {
    const std::size_t before = host.log.Size();
    host.file = host.MakeFile(Waiting(Other()));
    EXPECT_EQ(kOk, host.StartOver());
    return before;
  });
}

TEST(OvertakenAnswers, ByCloseAndASecondFile_ChangeNothing) {
  ExpectUnmoved([](ScriptedHost& host) {
    host.Close();
    host.InitPlugin();
    const std::size_t before = host.log.Size();
    host.file = host.MakeFile(Waiting(Other()));
    EXPECT_EQ(kOk, host.StartOver());
    return before;
  });
}

TEST(OvertakenAnswers, OnTheSameFileObject_ChangeNothing) {
  // The file object answers the new session's operations behind the old one, or before it.
  ScriptedHost fresh({.file = Waiting(SmallFile())});
  fresh.PlayNested();
  for (const bool oldFirst : {true, false}) {
    for (int answers = 0;; ++answers) {
      ScriptedHost host({.file = Waiting(SmallFile())});
      if (!BringToAnswer(host, answers)) break;
      const std::size_t before = host.log.Size();
      EXPECT_EQ(kOk, host.StartOver());
      ASSERT_EQ(2u, host.file->Waiting());
      if (oldFirst) host.file->Answer(0);
      while (host.file->Waiting() > 1) host.file->Answer(1);
      host.Pump();
      ASSERT_EQ(fresh.log.All(), host.log.From(before)) << answers << (oldFirst ? ", old first" : ", old last");
    }
  }
}

TEST(OvertakenAnswers, OfSeveralSessions_ChangeNothingInAnyOrder) {
  const Lines fresh = FreshLog();
  for (const bool newestFirst : {true, false}) {
    ScriptedHost host({.file = Waiting(SmallFile())});
    std::vector<ComPtr<ScriptedFile>> old;
    for (int answers = 0; answers < 12; ++answers) {
      if (answers > 0) {
        host.file = host.MakeFile(Waiting(SmallFile()));
        EXPECT_EQ(kOk, host.StartOver());
        for (int i = 0; i < answers; ++i) host.file->Answer();
      } else {
        BringToAnswer(host, 0);
      }
      old.push_back(host.file);
    }
    const std::size_t before = host.log.Size();
    host.file = host.MakeFile(Waiting(Other()));
    EXPECT_EQ(kOk, host.StartOver());
    if (newestFirst) std::reverse(old.begin(), old.end());
    for (const ComPtr<ScriptedFile>& file : old) {
      ASSERT_EQ(1u, file->Waiting());
      file->Answer();
      host.file->Answer();
    }
    host.Pump();
    EXPECT_EQ(fresh, host.log.From(before));
  }
}

TEST(OvertakenAnswers, WhenTheObjectIsGone_ReachNobody) {
  for (int answers = 0;; ++answers) {
    ScriptedHost host({.file = Waiting(SmallFile())});
    if (!BringToAnswer(host, answers)) break;
    host.ReleasePlugin();
    const std::size_t size = host.log.Size();
    host.file->Answer();
    EXPECT_EQ(size, host.log.Size()) << answers;
    EXPECT_EQ(kOk, Exports().canUnload()) << answers;
  }
}

/// A seek that fails leaves the file where the operation that it overtook leads, whenever that is answered.
TEST(OvertakenAnswers, ByASeekThatFails_StillMoveThePosition) {
  FlvBuilder flv = FlvBuilder(kBoth).Metadata(QuickMetadata()).Audio(0, 30).Video(0, 40);
  flv.Tag(kScriptTag, 0, Bytes(20, 5)).Audio(20, 30).Video(20, 40).Audio(40, 30);
  const struct {
    const char* name;
    std::string overtaken;
    std::size_t answeredFirst;
    const char* firstPacket;
  } cases[] = {{"skip", "Seek(" + std::to_string(flv.Field(1)) + ")", 0, "s0 t0"},
               {"body, answered in order", "Read(30)", 0, "s1 t0"},
               {"body, answered behind the seek", "Read(30)", 1, "s1 t0"}};
  for (const auto& row : cases) {
    SCOPED_TRACE(row.name);
    // The second seek to the first tag; the first one ended the header scan.
    const Rule failure{.operation = "Seek(9)", .occurrence = 2, .status = kFailed};
    ScriptedHost host(
        {.file = {
             .bytes = flv.File(), .answers = Answers::kLater, .accessHint = kPrefersLinearAccess, .rules = {failure}}});
    ASSERT_TRUE(host.ReadHeaders());
    host.AnswerByHand();
    host.GetPacket(0);
    while (host.log.All().back() != row.overtaken) host.file->Answer();
    EXPECT_EQ(kOk, host.Seek(300));
    ASSERT_EQ(2U, host.file->Waiting());
    host.file->Answer(row.answeredFirst);
    host.file->Answer();
    EXPECT_EQ(1U, host.log.Count("SeekDone 0x80004005"));

    host.RenewRequests();
    host.GetPacket(0);
    host.GetPacket(1);
    host.Pump();
    EXPECT_EQ(row.firstPacket, host.log.Delivered().front());
    EXPECT_EQ(1U, host.log.Count("Seek(" + std::to_string(flv.Field(4)) + ")")) << "the skip over the script data";
    EXPECT_EQ(1U, host.log.Count("PacketReady s=1 t=20")) << "which stands behind it";
  }
}

TEST(OvertakenAnswers, ThatCameWhenNothingExpectedThem_AreNotExpectedBySeek) {
  ScriptedHost host({.file = Waiting(SmallFile())});
  ASSERT_TRUE(host.ReadHeaders());
  host.AnswerByHand();
  host.GetPacket(0);
  host.InitPlugin();
  host.Pump();
  EXPECT_EQ(kOk, host.Seek(30));
  host.Pump();
  EXPECT_EQ(1U, host.log.Count("SeekDone 0x00000000"));
}

}  // namespace
}  // namespace qbflv::test
