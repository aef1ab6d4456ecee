// Seeks from inside the calls of the object's sink and file, and what a host may do inside SeekDone.
#include <gtest/gtest.h>

#include <functional>

#include "tests/support/seek_script.h"

namespace qbflv::test {
namespace {

using Lines = CallLog::Lines;
using Kind = host::SinkEvent::Kind;

constexpr std::uint32_t kTime = 250;
constexpr Answers kModes[] = {Answers::kInline, Answers::kLater};

struct Session {
  const char* name;
  FileScript file;
};

/// Streams that end one by one, in the order of their last packets; and both at once, at a tag that is cut or at a read
/// that fails.
std::vector<Session> Sessions(Answers answers) {
  const Bytes whole = SeekFile().File();
  const Bytes cut(whole.begin(), whole.end() - 10);
  const Bytes unended(whole.begin(), whole.end() - 4);
  return {{"whole", {.bytes = whole, .answers = answers}},
          {"cut", {.bytes = cut, .answers = answers, .stat = Stat::kAbsent}},
          {"failing", {.bytes = unended, .answers = answers, .stat = Stat::kAbsent, .failsAtEnd = true}}};
}

/// Opens, plays, seeks to the start and plays again, until the act of the test took place.
void PlayTwice(ScriptedHost& host, const bool& acted) {
  host.PlayNested();
  if (acted) return;
  host.Seek(0);
  if (!acted) AskForAll(host);
}

/// Where a seek restarts does not depend on which positions were known before it, and so neither does what follows.
std::string FollowingIn(const FileScript& file) {
  ScriptedHost fresh({.file = file});
  EXPECT_TRUE(fresh.ReadHeaders());
  fresh.log.Clear();
  fresh.Seek(kTime);
  const SeekOutcome outcome = FinishSeek(fresh, SeekFile());
  EXPECT_EQ("@0 r @1 r @2 r @3 r @4 r @5 r @6 r @7 r @5 ok", outcome.walk);
  EXPECT_TRUE(outcome.delivered.starts_with("s0 t200 s1 t200 s0 t300 s1 t300")) << outcome.delivered;
  return outcome.delivered;
}

/// Seeks and asks for packets at once, which are due after SeekDone.
void SeekAndAsk(ScriptedHost& host) {
  host.log.Clear();
  EXPECT_EQ(kOk, host.format->Seek(kTime));
  EXPECT_EQ(kOk, host.format->GetPacket(0));
  EXPECT_EQ(kOk, host.format->GetPacket(1));
  EXPECT_EQ(kInvalidState, host.format->GetPacket(1)) << "asked already";
}

void ExpectSeekAndAllPackets(ScriptedHost& host, const std::string& following) {
  const SeekOutcome outcome = FinishSeek(host, SeekFile());
  EXPECT_TRUE(outcome.walk.starts_with("@") && outcome.walk.ends_with(" r @5 ok")) << outcome.walk;
  for (const char* other : {"Read(", "PacketReady", "StreamDone", "offset"}) {
    EXPECT_EQ(std::string::npos, outcome.walk.find(other)) << outcome.walk;
  }
  EXPECT_EQ(following, outcome.delivered);
}

TEST(SeekNested, InAnyCallOfTheSink_EndsWhatTheCallBelongedTo) {
  for (const Answers answers : kModes) {
    for (const Session& session : Sessions(answers)) {
      const std::string following = FollowingIn(session.file);
      std::map<Kind, int> seen;
      for (int number = 1;; ++number) {
        ScriptedHost host({.file = session.file});
        bool acted = false;
        int left = number;
        std::string moment;
        host.OnSinkCall([&](const host::SinkEvent& event) {
          if (acted || host.StreamCount() == 0 || --left > 0) return;
          acted = true;
          ++seen[event.kind];
          moment = host.log.All().back();
          SeekAndAsk(host);
        });
        PlayTwice(host, acted);
        if (!acted) break;
        SCOPED_TRACE(std::string(session.name) + (answers == Answers::kInline ? ", inline: " : ", later: ") + moment +
                     ", call " + std::to_string(number));
        ExpectSeekAndAllPackets(host, following);
      }
      EXPECT_EQ(1, seen[Kind::kFileHeaderReady]) << session.name;
      EXPECT_EQ(2, seen[Kind::kStreamHeaderReady]) << session.name;
      EXPECT_EQ(1, seen[Kind::kSeekDone]) << session.name;
      EXPECT_EQ(4, seen[Kind::kStreamDone]) << session.name;
      EXPECT_GE(seen[Kind::kPacketReady], 20) << session.name;
    }
  }
  EXPECT_EQ(kOk, Exports().canUnload());
}

TEST(SeekNested, InAnyCallOfTheFile_EndsWhatTheCallBelongedTo) {
  for (const Answers answers : kModes) {
    for (const Session& session : Sessions(answers)) {
      const std::string following = FollowingIn(session.file);
      int number = 1;
      for (;; ++number) {
        ScriptedHost host({.file = session.file});
        bool acted = false;
        int left = number;
        std::string moment;
        host.file->OnOperation([&] {
          if (acted || host.StreamCount() == 0 || --left > 0) return;
          acted = true;
          moment = host.log.All().back();
          SeekAndAsk(host);
        });
        PlayTwice(host, acted);
        if (!acted) break;
        SCOPED_TRACE(std::string(session.name) + (answers == Answers::kInline ? ", inline: " : ", later: ") + moment +
                     ", operation " + std::to_string(number));
        ExpectSeekAndAllPackets(host, following);
      }
      EXPECT_GT(number, 50) << session.name;
    }
  }
  EXPECT_EQ(kOk, Exports().canUnload());
}

/// Each SeekDone seeks again: the work must not pile up on the stack, nor any seek be lost.
TEST(SeekNested, InEverySeekDone_IsAnsweredEachTime) {
  constexpr int kSeeks = 20000;
  for (const Answers answers : kModes) {
    ScriptedHost host({.file = {.bytes = SeekFile().File(), .answers = answers}});
    ASSERT_TRUE(host.ReadHeaders());
    host.log.Disable();
    int done = 0;
    host.OnSinkCall([&](const host::SinkEvent& event) {
      if (event.kind != Kind::kSeekDone || ++done == kSeeks) return;
      EXPECT_EQ(kOk, host.format->Seek(done % 500U));
    });
    host.Seek(0);
    EXPECT_EQ(kSeeks, done);
  }
}

struct Ending {
  const char* name;
  std::function<void(ScriptedHost&)> act;
};

/// With requests that were made before SeekDone, and are served no more.
TEST(SeekNested, EndsInsideSeekDone_LeaveNothingBehind) {
  const Ending endings[] = {
      {"Close", [](ScriptedHost& host) { EXPECT_EQ(kOk, host.format->Close()); }},
      {"Release", [](ScriptedHost& host) { host.ReleasePlugin(); }},
      {"Seek, then Close",
       [](ScriptedHost& host) {
         EXPECT_EQ(kOk, host.format->Seek(0));
         EXPECT_EQ(kOk, host.format->Close());
       }},
      {"Seek, then Release",
       [](ScriptedHost& host) {
         EXPECT_EQ(kOk, host.format->Seek(0));
         host.ReleasePlugin();
       }},
  };
  for (const Ending& ending : endings) {
    for (const Answers answers : kModes) {
      SCOPED_TRACE(std::string(ending.name) + (answers == Answers::kInline ? ", inline" : ", later"));
      ScriptedHost host({.file = {.bytes = SeekFile().File(), .answers = answers}});
      ASSERT_TRUE(host.ReadHeaders());
      bool ended = false;
      host.OnSinkCall([&](const host::SinkEvent& event) {
        if (event.kind != Kind::kSeekDone || ended) return;
        ended = true;
        host.log.Clear();
        ending.act(host);
      });
      // Asked for inside the seek's first operation.
      bool asked = false;
      host.file->OnOperation([&] {
        if (!std::exchange(asked, true)) AskForAll(host);
      });
      host.AnswerByHand();
      host.Seek(kTime);
      host.Pump();
      ASSERT_TRUE(ended && asked);
      EXPECT_EQ("Close", host.log.All().back());
      EXPECT_LE(host.log.Size(), 2U) << "the nested seek's one operation at most: " << Joined(host.log.All());
      EXPECT_EQ(0U, OtherReferences(host.sink.Get()));
      EXPECT_EQ(0U, host.FileReferences());
    }
  }
  EXPECT_EQ(kOk, Exports().canUnload());
}

TEST(SeekNested, AnotherFileInsideSeekDone_IsPlayedWhole) {
  for (const Answers answers : kModes) {
    const FileScript other{.bytes = SmallFile().File(), .answers = answers};
    ScriptedHost fresh({.file = other});
    fresh.PlayNested();
    ScriptedHost host({.file = {.bytes = SeekFile().File(), .answers = answers}});
    host.PlayNested();
    host.OnSinkCall([&](const host::SinkEvent& event) {
      if (event.kind != Kind::kSeekDone) return;
      host.file = host.MakeFile(other);
      host.log.Clear();
      EXPECT_EQ(kOk, host.StartOver());
    });
    host.Seek(kTime);
    EXPECT_EQ(fresh.log.All(), host.log.All());
  }
}

}  // namespace
}  // namespace qbflv::test
