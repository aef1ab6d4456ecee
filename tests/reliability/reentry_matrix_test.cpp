// Every call into the host crossed with every call that the host may make there.
#include <fmt/format.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <map>
#include <string>

#include "tests/reliability/reentry_session.h"
#include "tests/support/library_heap.h"

namespace qbflv::test {
namespace {

using Lines = CallLog::Lines;

constexpr auto kActions = static_cast<int>(Action::kCount);

// The outcome of a call. The host continues its own session after it: opens, plays, seeks and plays on.
constexpr char kTaken = '.';          // returns 0; the session goes on as without the call
constexpr char kRefused = 'r';        // returns 0x80040009; the same
constexpr char kEither = '=';         // one or the other, in different places of the row
constexpr char kClosed = 'c';         // the file is closed; no further sink call and no further operation
constexpr char kReady = 'i';          // returns 0; the object opens the other file when it is asked to
constexpr char kNewFile = 'n';        // the new file plays to its end; of the old one nothing more
constexpr char kSought = 's';         // one SeekDone, then the packets from at or before the time to the end
constexpr char kOneHeaderMore = 'h';  // the stream header once more; the session goes on
constexpr char kReadsOn = 'p';        // the object reads on from where the file stands
constexpr char kAgain = 'a';          // what failed is done again, and the session goes on to its end
constexpr char kOther = '?';

const struct {
  const char* moment;
  const char* outcomes;
} kMatrix[] = {
    // GetPacket 0, 1, 9 | Seek | Close, last Release | InitPlugin | InitFileFormat | GetFileHeader, GetStreamHeader |
    // an unexpected completion
    {"opening: QueryInterface", "rrrrccinrrr"},
    {"opening: GetHeaders and GetURL", "rrrrccinrrr"},
    {"opening: CreateInstance", "rrrrccinrrr"},
    {"opening: ReadPref", "rrrrccinrrr"},
    {"opening: Init", "rrrrccinrrr"},
    {"opening: Seek", "rrrrccinrrr"},
    {"opening: Read", "rrrrccinrrr"},
    {"opening: Stat", "rrrrccinrrr"},
    {"opening: InitDone", "rrrrccin.rr"},
    {"opening: InitDone (failed)", "rrrrccinrrr"},
    {"file header: Read", "rrrrccinrrr"},
    {"file header: SetAccessHint", "rrrrccinrrr"},
    {"file header: Seek", "rrrrccinrrr"},
    {"file header: QueryInterface", "rrrrccinrrr"},
    {"file header: CreateInstance", "rrrrccinrrr"},
    {"file header: FileHeaderReady", "..rsccinr.r"},
    {"file header: FileHeaderReady (failed)", "rrrrccinarr"},
    {"stream headers: QueryInterface", "..rsccinrhr"},
    {"stream headers: CreateInstance", "..rsccinrhr"},
    {"stream headers: StreamHeaderReady", "..rsccinrhr"},
    {"stream headers: last StreamHeaderReady", "..rsccinrrr"},
    {"play: Read", "r=rsccinrrr"},
    {"play: Seek", "rrrsccinrrr"},
    {"play: CreateInstance", "rrrsccinrrr"},
    {"play: PacketReady", "==rsccinrrr"},
    {"play: StreamDone", "rrrsccinrrr"},
    {"seek: Seek", "..rsccinrrr"},
    {"seek: Read", "..rsccinrrr"},
    {"seek: SeekDone", "..rsccinrrr"},
    {"seek: SeekDone (failed)", "pprsccinrrr"},
    {"play on: Read", "r=rsccinrrr"},
    {"play on: CreateInstance", "rrrsccinrrr"},
    {"play on: PacketReady", "==rsccinrrr"},
    {"play on: Seek", "rrrsccinrrr"},
    {"play on: StreamDone", "rrrsccinrrr"},
    {"closing: Close", "rrrrccirrrr"},
    {"opening: last Release of a list", "rrrrccinrrr"},
    {"closing: last Release of a list", "rrrrccirrrr"},
    {"stream headers: last Release of a list", "..rsccinrar"},
    {"play: last Release of a packet", "rrrsccinrrr"},
    {"seek: last Release of a packet", "..rsccinrrr"},
    {"play on: last Release of a packet", "rrrsccinrrr"},
    {"closing: last Release of a packet", "rrrrccirrrr"},
};

Bytes File() {
  FlvBuilder flv(kBoth);
  flv.Metadata(QuickMetadata({{"title", amf::String("T")}}));
  for (std::uint32_t i = 0; i < 8; ++i) {
    flv.Audio(i * 400, 40 + i).Video(i * 400, 60 + i, i % 2 == 0);
    if (i == 5) flv.Tag(kScriptTag, i * 400, amf::String("onCuePoint"));
  }
  return flv.File();
}

Lines WithoutStreamHeaders(Lines lines) {
  std::erase_if(lines, [](const std::string& line) { return line.starts_with("StreamHeaderReady"); });
  return lines;
}

bool Has(const Lines& lines, std::string_view beginning) {
  return std::ranges::any_of(lines, [&](const std::string& line) { return line.starts_with(beginning); });
}

bool ReadsOn(const Lines& after) { return after.front() == "Read(15)" && after.back() == "Close"; }

bool StartsAgain(const Lines& after, std::string_view header) {
  return Has(after, header) && Has(after, "SeekDone 0x00000000") && after.back() == "Close";
}

/// From a SeekDone to the last StreamDone: packets that end a whole play, from at or before the time on.
bool PlaysFromTheTime(const Lines& after, const Lines& wholePlay) {
  const auto sought = std::ranges::find(after, "SeekDone 0x00000000");
  if (sought == after.end()) return false;
  Lines played;
  for (auto line = sought + 1;
       line != after.end() &&
       std::ranges::count_if(played, [](const std::string& each) { return each.starts_with("StreamDone"); }) < 2;
       ++line) {
    if (line->starts_with("PacketReady") || line->starts_with("StreamDone")) played.push_back(*line);
  }
  if (played.size() > wholePlay.size()) return false;
  if (!std::equal(played.rbegin(), played.rend(), wholePlay.rbegin())) return false;
  const auto early = [](const std::string& line) {
    return line.find(" t=0 ") != std::string::npos || line.find(" t=400 ") != std::string::npos ||
           line.find(" t=800 ") != std::string::npos;
  };
  return std::ranges::any_of(played, early);
}

/// A host without any further calls.
struct Undisturbed {
  Undisturbed(const Scenario& scenario, Completes completes) {
    ReentrySession session(scenario, completes, 0, Action::kNone);
    session.Run();
    session.End();
    log = session.After();
    ReentrySession faultless({scenario.file}, completes, 0, Action::kNone);
    faultless.Run();
    for (const std::string& line : faultless.After()) {
      if (line.starts_with("SeekDone")) break;
      if (line.starts_with("PacketReady") || line.starts_with("StreamDone")) wholePlay.push_back(line);
    }
    otherFile = faultless.StartOver();
    faultless.End();
  }

  Lines log;
  /// The packets and ends of a whole play, and the log of another file.
  Lines wholePlay;
  Lines otherFile;
};

/// The outcome of the action as a letter of the matrix. The session has run to its end, and is closed here.
char OutcomeOf(ReentrySession& session, Action action, const Undisturbed& undisturbed) {
  const auto expected = [&] {
    const auto before = static_cast<std::ptrdiff_t>(session.LinesBefore());
    return Lines(undisturbed.log.begin() + before, undisturbed.log.end());
  };
  if (action == Action::kInitPlugin) {
    const bool opens = session.HasEnded() || session.StartOver() == undisturbed.otherFile;
    session.End();
    return session.Result() == kOk && opens ? kReady : kOther;
  }
  session.End();
  if (session.IsSeeking()) return kOther;
  const Lines after = session.After();
  const Status result = session.Result();
  if (action == Action::kClose || action == Action::kLastRelease) {
    return result == kOk && (after.empty() || after == Lines{"Close"}) ? kClosed : kOther;
  }
  if (action == Action::kSeek && result == kOk) {
    return PlaysFromTheTime(after, undisturbed.wholePlay) ? kSought : kOther;
  }
  if (after == expected()) {
    if (result == kInvalidState) return kRefused;
    return result == kOk ? kTaken : kOther;
  }
  if (result != kOk) return kOther;
  switch (action) {
    case Action::kInitFileFormat: {
      Lines newFile = undisturbed.otherFile;
      newFile.emplace_back("Close");
      return after == newFile ? kNewFile : kOther;
    }
    case Action::kGetPacketOfStream0:
    case Action::kGetPacketOfStream1:
      return ReadsOn(after) ? kReadsOn : kOther;
    case Action::kGetFileHeader:
      return StartsAgain(after, "FileHeaderReady 0x00000000") ? kAgain : kOther;
    case Action::kGetStreamHeader:
      if (WithoutStreamHeaders(after) == WithoutStreamHeaders(expected())) return kOneHeaderMore;
      return StartsAgain(after, "StreamHeaderReady 0x00000000") ? kAgain : kOther;
    default:
      return kOther;
  }
}

/// Every callback of a session in one mode, crossed with one action. only: the moments that count end so. Each outcome
/// goes to take, with its moment.
template <typename Take>
void CrossWith(Action action, const Scenario& scenario, Completes completes, std::string_view only, Take take) {
  const Undisturbed undisturbed(scenario, completes);
  for (int callback = 1;; ++callback) {
    ReentrySession session(scenario, completes, callback, action);
    session.Run();
    // The last callbacks are those of Close.
    if (session.Moment().empty()) session.End();
    if (session.Moment().empty()) return;
    const char outcome = OutcomeOf(session, action, undisturbed);
    if (!session.Moment().ends_with(only)) continue;
    if (outcome == kOther) {
      ADD_FAILURE() << session.Moment() << ", " << (completes == Completes::kInline ? "inline" : "later") << ", action "
                    << static_cast<int>(action) << " returns " << Hex(session.Result()) << ", then\n"
                    << testing::PrintToString(session.After());
    }
    take(session.Moment(), outcome);
  }
}

/// What a row says when some of its moments have the one outcome and some the other.
char Join(char one, char other) {
  if (one == ' ' || one == other) return other;
  const std::string both = {one, other};
  const bool isHarmless = both.find_first_not_of({kTaken, kRefused, kEither}) == std::string::npos;
  return isHarmless ? kEither : kOther;
}

TEST(ReentryMatrix, OfEveryCallbackAndEveryCall_HasTheOutcomeThatIsWrittenDown) {
  const Scenario whole{File()};
  const Lines log = Undisturbed(whole, Completes::kInline).log;
  const auto isRead = [](const std::string& line) { return line.starts_with("Read("); };
  const auto scan = std::ranges::find(log, "Read(16)");
  const auto readsBeforeScan = static_cast<int>(std::count_if(log.begin(), scan, isRead));
  const auto reads = static_cast<int>(std::ranges::count_if(log, isRead));
  const auto failingRead = [](int nth) {
    return Scenario{File(), {{Asked::kRead}, Failing::kCompletesWithFailure, nth}};
  };
  const auto refusedProperty = [](int nth) {
    return Scenario{File(), {{Asked::kSetProperty}, Failing::kRefuses, nth}};
  };
  const std::pair<Scenario, const char*> scenarios[] = {
      {whole, ""},
      {failingRead(1), "(failed)"},
      {failingRead(2), "(failed)"},
      {failingRead(readsBeforeScan + 1), "(failed)"},
      // Packets are queued when a read fails amid the others.
      {failingRead(readsBeforeScan - 6), "seek: last Release of a packet"},
      {failingRead(reads - 6), "closing: last Release of a packet"},
      {refusedProperty(14), "headers: last Release of a list"}};

  std::map<std::string, std::string> expected;
  for (const auto& row : kMatrix) expected.emplace(row.moment, row.outcomes);
  std::map<std::string, std::string> outcomes;
  int calls = 0;
  for (const auto& [scenario, only] : scenarios) {
    for (const Completes completes : {Completes::kInline, Completes::kLater}) {
      for (int i = 0; i < kActions; ++i) {
        CrossWith(static_cast<Action>(i), scenario, completes, only, [&](const std::string& moment, char outcome) {
          char& cell = outcomes.try_emplace(moment, kActions, ' ').first->second[static_cast<std::size_t>(i)];
          cell = Join(cell, outcome);
          ++calls;
        });
        EXPECT_EQ(0, ReadLibraryHeap().live) << "after action " << i;
        EXPECT_EQ(kOk, Exports().canUnload()) << "after action " << i;
      }
    }
  }
  for (const auto& [moment, row] : outcomes) EXPECT_EQ(expected[moment], row) << moment;
  for (const auto& [moment, row] : expected) EXPECT_TRUE(outcomes.contains(moment)) << moment << " does not happen";
  fmt::print("{} calls inside {} kinds of callbacks\n", calls, outcomes.size());
}

}  // namespace
}  // namespace qbflv::test
