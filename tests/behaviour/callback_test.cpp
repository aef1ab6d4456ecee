// Sink calls from which the host calls back: any request, Close, another file, or the last Release.
#include <gtest/gtest.h>

#include "tests/support/scripted_host.h"

namespace qbflv::test {
namespace {

using Lines = CallLog::Lines;
using Kind = host::SinkEvent::Kind;

/// The file of the second session: other times and sizes than those of the small one.
FileScript OtherFile(Answers answers) {
  FlvBuilder flv(kBoth, 11);
  flv.Metadata(QuickMetadata()).Audio(500, 40).Video(500, 50).Audio(523, 41).Video(540, 51).Video(580, 52);
  return {.bytes = flv.File(), .answers = answers};
}

struct Moment {
  const char* name;
  Kind kind;
  int occurrence;
};

/// Every sink call of a session on the small file, and some of a failed one.
constexpr Moment kMoments[] = {{"InitDone", Kind::kInitDone, 1},
                               {"FileHeaderReady", Kind::kFileHeaderReady, 1},
                               {"first StreamHeaderReady", Kind::kStreamHeaderReady, 1},
                               {"last StreamHeaderReady", Kind::kStreamHeaderReady, 2},
                               {"first PacketReady", Kind::kPacketReady, 1},
                               {"second PacketReady", Kind::kPacketReady, 2},
                               {"PacketReady before a StreamDone", Kind::kPacketReady, 4},
                               {"last PacketReady", Kind::kPacketReady, 5},
                               {"first StreamDone", Kind::kStreamDone, 1},
                               {"last StreamDone", Kind::kStreamDone, 2}};

/// Files that bring other sink calls: failures, and streams that end together.
std::vector<FileScript> Files(Answers answers) {
  const Bytes small = SmallFile().File();
  return {{.bytes = small, .answers = answers},
          {.bytes = small, .answers = answers, .stat = Stat::kAbsent},
          {.bytes = small, .answers = answers, .rules = {{"Read(21)", 0, kFailed}}},
          {.bytes = small, .answers = answers, .rules = {{"Read(9)", 0, kFailed}}},
          {.bytes = small, .answers = answers, .rules = {{"Read(20)", 0, kFailed}}}};
}

/// Plays each file in each mode, nested and not, acts at each moment, and lets the test look at what came after.
template <typename Act, typename Check>
void AtEveryMoment(Act act, Check check) {
  for (const Moment& moment : kMoments) {
    for (const Answers answers : {Answers::kInline, Answers::kLater}) {
      for (const bool nested : {false, true}) {
        int number = 0;
        for (const FileScript& file : Files(answers)) {
          SCOPED_TRACE(std::string(moment.name) + (answers == Answers::kInline ? ", inline" : ", later") +
                       (nested ? ", nested" : "") + ", file " + std::to_string(number++));
          ScriptedHost host({.file = file});
          int seen = 0;
          bool acted = false;
          std::size_t before = 0;
          host.OnSinkCall([&](const host::SinkEvent& event) {
            if (acted || event.kind != moment.kind || ++seen != moment.occurrence) return;
            acted = true;
            before = host.log.Size();
            act(host, answers);
          });
          nested ? host.PlayNested() : host.Play();
          host.Pump();
          if (acted) check(host, host.log.From(before), answers);
        }
      }
    }
  }
  EXPECT_EQ(kOk, Exports().canUnload());
}

TEST(Callbacks, ClosingAndReleasing_StopEverything) {
  AtEveryMoment(
      [](ScriptedHost& host, Answers) {
        EXPECT_EQ(kOk, host.format->Close());
        host.ReleasePlugin();
      },
      [](ScriptedHost&, const Lines& after, Answers) { EXPECT_EQ(Lines{"Close"}, after); });
}

TEST(Callbacks, GivingUpBehindARequest_IssueNothingMore) {
  // What the request issues, one operation at most, may have its answer before the object is given up.
  for (const bool release : {false, true}) {
    AtEveryMoment(
        [release](ScriptedHost& host, Answers) {
          static_cast<void>(host.format->GetFileHeader());
          static_cast<void>(host.format->GetPacket(0));
          release ? host.ReleasePlugin() : static_cast<void>(host.format->Close());
        },
        [](ScriptedHost&, const Lines& after, Answers) {
          EXPECT_EQ("Close", after.back());
          EXPECT_LE(after.size(), 2u) << testing::PrintToString(after);
        });
  }
}

/// The log of the other file on an object of its own, up to InitDone.
Lines FreshStart(Answers answers) {
  ScriptedHost fresh({.file = OtherFile(answers)});
  fresh.Open();
  return fresh.log.All();
}

TEST(Callbacks, Initialising_LeaveTheObjectReady) {
  AtEveryMoment([](ScriptedHost& host, Answers) { EXPECT_EQ(kOk, host.InitPlugin()); },
                [](ScriptedHost& host, const Lines&, Answers answers) {
                  host.file = host.MakeFile(OtherFile(answers));
                  const std::size_t before = host.log.Size();
                  EXPECT_EQ(kOk, host.InitFileFormat());
                  const Lines start = FreshStart(answers);
                  const Lines after = host.log.From(before);
                  ASSERT_GE(after.size(), start.size());
                  EXPECT_EQ(start, Lines(after.begin(), after.begin() + static_cast<std::ptrdiff_t>(start.size())));
                });
}

TEST(Callbacks, ClosingAndStartingOver_PlayTheNewFile) {
  for (const Answers answers : {Answers::kInline, Answers::kLater}) {
    ScriptedHost fresh({.file = OtherFile(answers)});
    fresh.PlayNested();
    ScriptedHost host({.file = {.bytes = SmallFile().File(), .answers = answers}});
    std::size_t before = 0;
    host.OnSinkCall([&](const host::SinkEvent& event) {
      if (event.kind != Kind::kPacketReady || before != 0) return;
      host.format->Close();
      EXPECT_EQ(kOk, host.InitPlugin());
      before = host.log.Size();
      host.file = host.MakeFile(OtherFile(answers));
      EXPECT_EQ(kOk, host.StartOver());
    });
    host.PlayNested();
    EXPECT_EQ(fresh.log.All(), host.log.From(before));
  }
}

}  // namespace
}  // namespace qbflv::test
