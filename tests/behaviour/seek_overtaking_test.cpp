// A seek at any moment: what was under way ends without a word, and its late answer changes nothing.
#include <gtest/gtest.h>

#include <regex>

#include "tests/support/seek_script.h"

namespace qbflv::test {
namespace {

using Lines = CallLog::Lines;

constexpr std::uint32_t kTime = 250;
constexpr const char* kFollowing = "s0 t200 s1 t200 s0 t300 s1 t300 s0 t400 s1 t400 s0 t500 s0 done s1 t500 s1 done";

FileScript Waiting() { return {.bytes = SeekFile().File(), .answers = Answers::kLater}; }

/// Of a session: from the opening on, or a seek to the start and what follows when all positions are known already.
enum class Pass { kFirst, kAgain };

/// Brings a session to its n-th answer; false when it has fewer. The next operation is under way then.
bool BringTo(ScriptedHost& host, Pass pass, int answers) {
  if (pass == Pass::kAgain) host.Play();
  host.AnswerByHand();
  if (pass == Pass::kFirst) {
    host.PlayNested();
  } else {
    host.Seek(0);
    AskForAll(host);
  }
  for (int i = 0; i < answers && host.file->Waiting() > 0; ++i) host.file->Answer();
  return host.file->Waiting() == 1;
}

/// The moments of both passes from the file header on; act gets the session and the operation under way.
template <typename Act>
void AtEveryAnswer(Act act) {
  int moments = 0;
  for (const Pass pass : {Pass::kFirst, Pass::kAgain}) {
    for (int answers = 0;; ++answers) {
      ScriptedHost host({.file = Waiting()});
      if (!BringTo(host, pass, answers)) break;
      if (host.log.Count("FileHeaderReady") == 0) continue;
      SCOPED_TRACE(std::string(pass == Pass::kFirst ? "first" : "again") + ", answer " + std::to_string(answers) +
                   ", overtakes " + host.log.Only({"Read(", "Seek("}).back());
      ++moments;
      act(host, host.log.Only({"Read(", "Seek("}).back().starts_with("Seek("));
      if (testing::Test::HasFailure()) return;
    }
  }
  EXPECT_GT(moments, 50) << "every operation of both passes";
}

/// As far as the walk does not depend on which positions are known.
void ExpectWalkToTheTime(const std::string& walk) {
  static const std::regex pattern("(@[0-9]+ r )+@5 ok");
  EXPECT_TRUE(std::regex_match(walk, pattern)) << walk;
}

/// The log begins at the seek.
void ExpectSeekAndAllPackets(ScriptedHost& host) {
  const SeekOutcome outcome = FinishSeek(host, SeekFile());
  ExpectWalkToTheTime(outcome.walk);
  EXPECT_EQ(kFollowing, outcome.delivered);
}

void Issue(ScriptedHost& host, const std::vector<std::uint32_t>& times) {
  for (const std::uint32_t time : times) {
    host.log.Clear();  // of several seeks the last one counts
    EXPECT_EQ(kOk, host.Seek(time));
  }
}

/// A file object answers its reads in their order, and its seeks in theirs. So the answer that is late comes first, or
/// behind those of the seeks that a read was overtaken by. (Of two seeks that succeed nobody can tell which is which.)
TEST(SeekOvertaking, AnyOperation_GoesAsIfThatHadNotBeen) {
  const std::vector<std::vector<std::uint32_t>> issued{{kTime}, {450, kTime}, {450, 0, kTime}};
  for (const std::vector<std::uint32_t>& times : issued) {
    for (std::size_t seeksFirst = 0; seeksFirst <= times.size(); ++seeksFirst) {
      for (const bool fails : {false, true}) {
        AtEveryAnswer([&](ScriptedHost& host, bool isSeek) {
          if (fails && isSeek && seeksFirst > 0) return;
          SCOPED_TRACE(std::to_string(times.size()) + " seeks, " + std::to_string(seeksFirst) + " answered first" +
                       (fails ? ", overtaken answers fail" : ""));
          const std::optional<Status> failure = fails ? std::optional<Status>(kFailed) : std::nullopt;
          Issue(host, times);
          ASSERT_EQ(times.size() + 1, host.file->Waiting());
          const auto answer = [&](std::size_t which, bool isLate) {
            const std::size_t size = host.log.Size();
            EXPECT_EQ(Hex(isLate ? kInvalidState : kOk),
                      Hex(host.file->Answer(which, isLate ? failure : std::nullopt)));
            if (isLate) {
              EXPECT_EQ(size, host.log.Size()) << host.log.All().back();
            }
          };
          // Which answer the last seek waits for: with a seek overtaken, that of the last one given.
          for (std::size_t i = 1; i <= seeksFirst; ++i) answer(1, isSeek || i < times.size());
          answer(0, !isSeek || seeksFirst < times.size());
          for (std::size_t i = seeksFirst + 1; i < times.size(); ++i) answer(0, true);
          ExpectSeekAndAllPackets(host);
        });
      }
    }
  }
}

TEST(SeekOvertaking, WhenEverythingIsKnown_WalksAsAFreshSeekDoes) {
  ScriptedHost fresh({.file = Waiting()});
  fresh.Play();
  fresh.log.Clear();
  fresh.Seek(kTime);
  const SeekOutcome expected = FinishSeek(fresh, SeekFile());
  EXPECT_EQ("@6 r @7 r @5 ok", expected.walk);
  for (int answers = 0;; ++answers) {
    ScriptedHost host({.file = Waiting()});
    if (!BringTo(host, Pass::kAgain, answers)) break;
    Issue(host, {kTime});
    EXPECT_EQ(expected, FinishSeek(host, SeekFile())) << answers;
  }
}

/// Plays, seeks to the start and plays again.
void PlayTwice(ScriptedHost& host) {
  host.PlayNested();
  host.Seek(0);
  AskForAll(host);
}

TEST(SeekOvertaking, AnOperationThatWasRefused_WaitsForNoAnswerToIt) {
  ScriptedHost whole({.file = {.bytes = SeekFile().File()}});
  PlayTwice(whole);
  std::map<std::string, int> seen;
  bool hasFileHeader = false;
  int refusals = 0;
  for (const std::string& line : whole.log.All()) {
    hasFileHeader = hasFileHeader || line.starts_with("FileHeaderReady");
    if (!line.starts_with("Seek(") && !line.starts_with("Read(")) continue;
    const Rule refusal{.operation = line, .occurrence = ++seen[line], .silent = true, .result = kFailed};
    if (!hasFileHeader) continue;
    ++refusals;
    for (const Answers answers : {Answers::kInline, Answers::kLater}) {
      SCOPED_TRACE(line + " number " + std::to_string(refusal.occurrence) +
                   (answers == Answers::kInline ? ", inline" : ", later"));
      ScriptedHost host({.file = {.bytes = SeekFile().File(), .answers = answers, .rules = {refusal}}});
      PlayTwice(host);
      Issue(host, {kTime});
      ExpectSeekAndAllPackets(host);
    }
  }
  EXPECT_GT(refusals, 50);
}

/// A request that comes between Seek and SeekDone is served after it.
TEST(SeekOvertaking, WithPacketsRequestedBeforeSeekDone_DeliversThemAfterIt) {
  AtEveryAnswer([](ScriptedHost& host, bool) {
    Issue(host, {kTime});
    AskForAll(host);
    ExpectSeekAndAllPackets(host);
  });
}

TEST(SeekOvertaking, ByAnotherFile_LeavesNothingOfTheFirstOne) {
  const FileScript other{.bytes = TagsOf(kBoth, "a0 k0 k80 a90 k160 a170 k240 a260").File(),
                         .answers = Answers::kLater};
  const auto session = [](ScriptedHost& host) {
    host.Pump();
    host.Seek(kTime);
    host.Pump();
    AskForAll(host);
    host.Pump();
  };
  ScriptedHost fresh({.file = other});
  fresh.PlayNested();
  session(fresh);
  for (const bool closes : {false, true}) {
    for (int answers = 0;; ++answers) {
      SCOPED_TRACE(std::to_string(answers) + (closes ? ", closed" : ""));
      ScriptedHost host({.file = Waiting()});
      host.PlayNested();
      host.AnswerByHand();
      host.Seek(kTime);
      for (int i = 0; i < answers && host.file->Waiting() > 0; ++i) host.file->Answer();
      if (host.file->Waiting() == 0) break;
      if (closes) {
        host.Close();
        host.InitPlugin();
      }
      const ComPtr<ScriptedFile> old = std::exchange(host.file, host.MakeFile(other));
      host.log.Clear();
      EXPECT_EQ(kOk, host.StartOver());
      EXPECT_EQ(Hex(kInvalidState), Hex(old->Answer()));
      session(host);
      EXPECT_EQ(fresh.log.All(), host.log.All());
    }
  }
  EXPECT_EQ(1U, fresh.log.Count("SeekDone 0x00000000"));
}

}  // namespace
}  // namespace qbflv::test
