// Seeks whose scan or restart fails: they end with the status of what failed, once, and leave the next one undisturbed.
#include <gtest/gtest.h>

#include <map>

#include "tests/support/seek_script.h"

namespace qbflv::test {
namespace {

constexpr Status kNote = MakeStatus(0x00040001);
constexpr std::uint32_t kTime = 1600;

/// Video is tags 1, 3, 5, 7 and 9 at 0, 500, 1000, 1500 and 2000 ms, every second one a key frame; audio the others.
FlvBuilder Film() { return TagsOf("k0 a0 p500 a600 k1000 a1200 p1500 a1800 k2000 a2400"); }

/// The first packets after a seek to that time.
constexpr char kFromTheTime[] = "s1 t1000 s0 t1200 s1 t1500 ";

constexpr char kWholeWalk[] = "@0 r @1 r @2 r @3 r @4 r @5 r @6 r @7 r @8 r @5 ok";

std::string SeekTo(std::size_t tag) { return "Seek(" + std::to_string(Film().Field(tag)) + ")"; }

TEST(SeekFailure, EndsTheSeekWithTheStatusOfWhatFailed) {
  const auto read = [](int occurrence, Status status, std::optional<std::uint32_t> size) {
    return Rule{.operation = "Read(16)", .occurrence = occurrence, .status = status, .size = size};
  };
  const struct {
    const char* name;
    Rule rule;
    const char* walk;
    std::uint32_t time = kTime;
  } cases[] = {
      {"failed read", read(3, kOutOfMemory, {}), "@0 r @1 r @2 r 0x8007000E"},
      {"15 bytes", read(3, kOk, 15), "@0 r @1 r @2 r ok"},
      {"17 bytes", read(3, kOk, 17), "@0 r @1 r @2 r ok"},
      {"no bytes, with a note", read(3, kNote, 0), "@0 r @1 r @2 r 0x00040001"},
      {"no buffer, with a note",
       {.operation = "Read(16)", .occurrence = 3, .status = kNote, .hasNoBuffer = true},
       "@0 r @1 r @2 r 0x00040001"},
      {"a note", read(3, kNote, {}), kWholeWalk},
      {"failed seek", {.operation = SeekTo(3), .status = kNotImplemented}, "@0 r @1 r @2 r @3 0x80004001"},
      {"failed restart",
       {.operation = SeekTo(5), .occurrence = 2, .status = kFailed},
       "@0 r @1 r @2 r @3 r @4 r @5 r @6 r @7 r @8 r @5 0x80004005"},
      {"restart with a note",
       {.operation = SeekTo(5), .occurrence = 2, .status = kNote},
       "@0 r @1 r @2 r @3 r @4 r @5 r @6 r @7 r @8 r @5 0x00040001"},
      // Without a position the last seek goes back to the tag just found.
      {"failed restart without a position",
       {.operation = SeekTo(1), .occurrence = 2, .status = kOutOfMemory},
       "@0 r @1 r @1 0x8007000E",
       0},
      {"restart without a position, refused",
       {.operation = SeekTo(1), .occurrence = 2, .silent = true, .result = kFailed},
       "@0 r @1 r @1 ok",
       0},
      {"restart without a position, refused and completed",
       {.operation = SeekTo(1), .occurrence = 2, .result = kFailed},
       "@0 r @1 r @1 ok",
       0},
      {"restart, refused and completed", {.operation = SeekTo(5), .occurrence = 2, .result = kFailed}, kWholeWalk},
      {"restart, refused",
       {.operation = SeekTo(5), .occurrence = 2, .silent = true, .result = kFailed},
       "@0 r @1 r @2 r @3 r @4 r @5 r @6 r @7 r @8 r @5"}};
  for (const auto& row : cases) {
    for (const Completes completes : {Completes::kInline, Completes::kLater}) {
      SCOPED_TRACE(std::string(row.name) + (completes == Completes::kInline ? ", inline" : ", later"));
      ScriptedHost host({.file = {.bytes = Film().File(), .completes = completes, .rules = {row.rule}}});
      ASSERT_TRUE(host.ReadHeaders());
      host.log.Clear();
      EXPECT_EQ(kOk, host.Seek(row.time));
      EXPECT_EQ(row.walk, Walk(Film(), host.log.All()));
      // The next seek finds what the first one passed, and ends as if there had been no failure.
      if (row.rule.occurrence == 0) continue;
      host.log.Clear();
      EXPECT_EQ(kOk, host.Seek(kTime));
      EXPECT_TRUE(FinishSeek(host, Film()).delivered.starts_with(kFromTheTime));
    }
  }
}

/// A refusal is known only when the file's call returns, and the seek that is made inside the call waits for its own
/// completion.
TEST(SeekFailure, OfAnOperationInWhichTheHostSeeks_LeavesThatSeekItsCompletions) {
  const auto attend = [](ScriptedHost& host, const bool& hasSought) {
    host.ReadHeaders();
    if (!hasSought) host.Seek(kTime);
    if (!hasSought) host.AskForAll();
  };
  ScriptedHost whole({.file = {.bytes = Film().File()}});
  attend(whole, false);
  int number = 0;
  int sought = 0;
  std::map<std::string, int> seen;
  for (const std::string& line : whole.log.Only({"Seek(", "Read("})) {
    ++number;
    const Rule refusal{.operation = line, .occurrence = ++seen[line], .silent = true, .result = kFailed};
    for (const Completes completes : {Completes::kInline, Completes::kLater}) {
      // A seek that is refused only after a later one completed cannot be told from one that completed.
      if (completes == Completes::kInline && line.starts_with("Seek(")) continue;
      SCOPED_TRACE("operation " + std::to_string(number) + ", " + line +
                   (completes == Completes::kInline ? ", inline" : ", later"));
      ScriptedHost host({.file = {.bytes = Film().File(), .completes = completes, .rules = {refusal}}});
      bool hasSought = false;
      int calls = 0;
      host.faults.OnAsked([&](Asked asked) {
        if ((asked != Asked::kRead && asked != Asked::kSeek) || ++calls != number) return;
        if (host.log.Count("FileHeaderReady") == 0) return;
        hasSought = true;
        ++sought;
        host.log.Clear();
        EXPECT_EQ(kOk, host.format->Seek(kTime));
      });
      attend(host, hasSought);
      if (!hasSought) continue;
      const SeekOutcome outcome = FinishSeek(host, Film());
      EXPECT_TRUE(outcome.walk.ends_with(" r @5 ok")) << outcome.walk;
      EXPECT_TRUE(outcome.delivered.starts_with(kFromTheTime)) << outcome.delivered;
    }
  }
  EXPECT_GT(sought, 30);
}

}  // namespace
}  // namespace qbflv::test
