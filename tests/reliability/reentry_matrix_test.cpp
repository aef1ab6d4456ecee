// Every call into the host crossed with every call that the host may make there.
#include <fmt/format.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <functional>
#include <map>
#include <string>
#include <utility>

#include "tests/support/library_heap.h"
#include "tests/support/scripted_host.h"

namespace qbflv::test {
namespace {

using Lines = CallLog::Lines;
using Kind = host::SinkEvent::Kind;

// The outcome of a call. The host continues its own session after it: opens, plays, seeks and plays on.
constexpr char kTaken = '.';          // returns 0; the session goes on as without the call
constexpr char kRefused = 'r';        // returns 0x80040009; the same
constexpr char kEither = '=';         // one or the other, in different places of the row
constexpr char kClosed = 'c';         // the file is closed; no further sink call and no further operation
constexpr char kReady = 'i';          // the object opens the other file when it is asked to
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
    {"closing: Close", "rrrrcc.rrrr"},
    {"opening: last Release of a list", "rrrrccinrrr"},
    {"closing: last Release of a list", "rrrrcc.rrrr"},
    {"stream headers: last Release of a list", "..rsccinrar"},
    {"play: last Release of a packet", "rrrsccinrrr"},
    {"seek: last Release of a packet", "..rsccinrrr"},
    {"play on: last Release of a packet", "rrrsccinrrr"},
    {"closing: last Release of a packet", "rrrrcc.rrrr"},
};

/// The time that is sought, in ms.
constexpr std::uint32_t kSoughtTime = 1000;

/// What sets and asks for values is not here: it never calls the object.
const std::map<Asked, std::string> kCallbacks = {{Asked::kInterface, "QueryInterface"},
                                                 {Asked::kObject, "CreateInstance"},
                                                 {Asked::kRequest, "GetHeaders and GetURL"},
                                                 {Asked::kPreference, "ReadPref"},
                                                 {Asked::kInit, "Init"},
                                                 {Asked::kRead, "Read"},
                                                 {Asked::kSeek, "Seek"},
                                                 {Asked::kStat, "Stat"},
                                                 {Asked::kHint, "SetAccessHint"},
                                                 {Asked::kClose, "Close"},
                                                 {Asked::kEndList, "last Release of a list"},
                                                 {Asked::kEndPacket, "last Release of a packet"}};

Bytes File() {
  FlvBuilder flv(kBoth);
  flv.Metadata(QuickMetadata({{"title", amf::String("T")}}));
  for (std::uint32_t i = 0; i < 8; ++i) {
    flv.Audio(i * 400, 40 + i).Video(i * 400, 60 + i, i % 2 == 0);
    if (i == 5) flv.Tag(kScriptTag, i * 400, amf::String("onCuePoint"));
  }
  return flv.File();
}

/// For a further InitFileFormat: other times than any other.
Bytes OtherFile() {
  FlvBuilder flv(kBoth, 11);
  flv.Metadata(QuickMetadata()).Audio(50, 40).Video(50, 50).Audio(2050, 41).Video(2050, 51).Video(3050, 52);
  return flv.File();
}

/// A host that reacts to every call of its sink inside that call: opens, reads the headers, plays to the end, seeks and
/// plays to the end again. Inside one of its callbacks it makes one call more.
class Session {
 public:
  using Call = std::function<Status(Session&)>;

  /// atCallback: the number, counted from 1, of the callback in which it makes the call.
  Session(const Fault& fault, Completes completes, int atCallback = 0, Call call = {})
      : host({.file = {.bytes = File(), .completes = completes},
              .headers = {{"AcceptMetaInfo", "title,creator"}},
              .preferences = {{"FLVMergeSorterMaxTimespan", "5000"}},
              .fault = fault}),
        m_completes(completes),
        m_atCallback(atCallback),
        m_call(std::move(call)) {
    host.OnSinkCall([this](const host::SinkEvent& event) { OnSink(event); });
    host.faults.OnAsked([this](Asked asked) {
      // A release may come while an operation is due.
      if (asked != Asked::kEndList && asked != Asked::kEndPacket) m_asked = asked;
      const auto callback = kCallbacks.find(asked);
      if (callback != kCallbacks.end()) OnCallback(callback->second);
    });
  }

  /// To the end of all that comes by itself.
  void Run() {
    host.PlayNested(kSoughtTime);
    if (m_startsOver) OpenOther();
  }

  /// Closes and releases, and requires that nothing is left.
  void End() {
    m_isClosing = true;
    if (host.format) {
      EXPECT_EQ(kOk, ComPtr<IQBFileFormatObject>(host.format)->Close());
    }
    host.Pump();
    EXPECT_FALSE(host.IsOpen(Kind::kSeekDone)) << "a seek was accepted, and neither completed nor superseded";
    host.ReleasePlugin();
    host.faults.OnAsked(nullptr);
    EXPECT_EQ(0, host.Abandon()) << "objects and references that are left";
    EXPECT_EQ(Lines(), host.Unasked());
  }

  // Calls.
  Status Close() {
    const Status status = host.Close();
    host.context = nullptr;
    return status;
  }
  Status Release() {
    host.ReleasePlugin();
    return kOk;
  }
  Status InitPlugin() {
    m_startsOver = true;
    return host.InitPlugin();
  }
  Status OpenOther() {
    host.UseFile({.bytes = OtherFile(), .completes = m_completes});
    const Status status = host.InitFileFormat();
    // The host that begins another file inside a call does not go on with the old one behind it.
    host.ReactInside(false);
    return status;
  }

  /// Every completion but the one that may be expected. They fail, so that they do not move the file's position.
  Status CompleteUnasked() {
    const auto response = host.format.Query<IQBFileResponse>();
    const auto statResponse = host.format.Query<IQBFileStatResponse>();
    const std::pair<Asked, std::function<Status()>> completions[] = {
        {Asked::kInit, [&] { return response->InitDone(kFailed); }},
        {Asked::kStat, [&] { return statResponse->StatDone(kFailed, 0); }},
        {Asked::kRead, [&] { return response->ReadDone(kFailed, nullptr); }},
        {Asked::kSeek, [&] { return response->SeekDone(kFailed); }}};
    for (const auto& [asked, complete] : completions) {
      const Status status = asked == m_asked ? kInvalidState : complete();
      if (status != kInvalidState) return status;
    }
    return kInvalidState;
  }

  /// The lines that followed the call.
  Lines After() const { return host.log.From(linesBefore); }

  ScriptedHost host;
  /// Where it made the call, as in "play: PacketReady"; empty if there were fewer callbacks.
  std::string moment;
  /// What the call returned.
  Status result = kOk;
  /// The lines of the log when it made the call.
  std::size_t linesBefore = 0;

 private:
  void OnCallback(const std::string& name) {
    if (++m_callbacks != m_atCallback) return;
    moment = (m_isClosing ? "closing" : host.Phase()) + ": " + name;
    linesBefore = host.log.Size();
    host.CompleteByHand();
    result = m_call(*this);
    host.CompleteByHand(false);
  }

  void OnSink(const host::SinkEvent& event) {
    m_asked = Asked::kClose;
    if (event.kind == Kind::kFileHeaderReady) m_headers = 0;
    const bool isHeader = event.kind == Kind::kStreamHeaderReady && Succeeded(event.status);
    const bool isLastHeader = isHeader && ++m_headers == host.StreamCount();
    const std::string call = Describe(event);
    host.ReactInside(true);
    OnCallback((isLastHeader ? "last " : "") + call.substr(0, call.find(' ')) +
               (Failed(event.status) ? " (failed)" : ""));
  }

  const Completes m_completes;
  const int m_atCallback;
  const Call m_call;
  int m_callbacks = 0;
  std::size_t m_headers = 0;
  bool m_isClosing = false;
  bool m_startsOver = false;
  /// What the library has asked for and may still be told of.
  Asked m_asked = Asked::kClose;
};

bool IsPlaying(const std::string& line) { return line.starts_with("PacketReady") || line.starts_with("StreamDone"); }

/// The logs of sessions without any further calls: with the fault, the packets and ends of a whole play, and another
/// file.
struct Undisturbed {
  Undisturbed(const Fault& fault, Completes completes) {
    Session session(fault, completes);
    session.Run();
    session.End();
    log = session.After();
    Session faultless({}, completes);
    faultless.Run();
    const Lines whole = faultless.After();
    std::copy_if(whole.begin(), std::ranges::find(whole, "SeekDone 0x00000000"), std::back_inserter(wholePlay),
                 IsPlaying);
    faultless.OpenOther();
    faultless.End();
    otherFile = faultless.host.log.From(whole.size());
  }

  Lines log;
  Lines wholePlay;
  /// To its Close.
  Lines otherFile;
};

/// What a session did from the call on, and what it does without it.
struct Course {
  Lines after;
  Lines expected;
  const Undisturbed& undisturbed;
};

bool IsAsBefore(const Course& course) { return course.after == course.expected; }

bool IsClosed(const Course& course) { return course.after.empty() || course.after == Lines{"Close"}; }

bool OpensWhenAsked(const Course& course) {
  const Lines& other = course.undisturbed.otherFile;
  return course.after.size() >= other.size() && std::equal(other.rbegin(), other.rend(), course.after.rbegin());
}

bool IsTheNewFile(const Course& course) { return course.after == course.undisturbed.otherFile; }

/// From a SeekDone to the last StreamDone: packets that end a whole play, from at or before the time on.
bool PlaysFromTheTime(const Course& course) {
  const Lines& whole = course.undisturbed.wholePlay;
  Lines played;
  int streamsDone = 0;
  for (auto line = std::ranges::find(course.after, "SeekDone 0x00000000");
       line != course.after.end() && streamsDone < 2; ++line) {
    if (IsPlaying(*line)) played.push_back(*line);
    if (line->starts_with("StreamDone")) ++streamsDone;
  }
  if (played.size() > whole.size() || !std::equal(played.rbegin(), played.rend(), whole.rbegin())) return false;
  return std::ranges::any_of(played, [](const std::string& line) {
    return line.find(" t=0 ") != line.npos || line.find(" t=400 ") != line.npos || line.find(" t=800 ") != line.npos;
  });
}

bool ReadsOn(const Course& course) { return course.after.front() == "Read(15)" && course.after.back() == "Close"; }

bool HasOneHeaderMore(const Course& course) {
  const auto withoutStreamHeaders = [](Lines lines) {
    std::erase_if(lines, [](const std::string& line) { return line.starts_with("StreamHeaderReady"); });
    return lines;
  };
  return withoutStreamHeaders(course.after) == withoutStreamHeaders(course.expected);
}

bool StartsAgain(const Course& course) {
  return std::ranges::count(course.after, "SeekDone 0x00000000") > 0 && course.after.back() == "Close";
}

Session::Call GetPacket(std::uint16_t stream) {
  return [stream](Session& session) { return session.host.GetPacket(stream); };
}

/// What a host may call inside a callback, and what may come of a call that returns 0: the first outcome that holds.
const struct Action {
  const char* name;
  Session::Call call;
  std::vector<std::pair<char, bool (*)(const Course&)>> outcomes;
} kActions[] = {
    {"GetPacket(0)", GetPacket(0), {{kTaken, IsAsBefore}, {kReadsOn, ReadsOn}}},
    {"GetPacket(1)", GetPacket(1), {{kTaken, IsAsBefore}, {kReadsOn, ReadsOn}}},
    {"GetPacket(9)", GetPacket(9), {}},
    {"Seek", [](Session& session) { return session.host.Seek(kSoughtTime); }, {{kSought, PlaysFromTheTime}}},
    {"Close", &Session::Close, {{kClosed, IsClosed}}},
    {"last Release", &Session::Release, {{kClosed, IsClosed}}},
    {"InitPlugin", &Session::InitPlugin, {{kReady, OpensWhenAsked}, {kTaken, IsAsBefore}}},
    {"InitFileFormat", &Session::OpenOther, {{kNewFile, IsTheNewFile}}},
    {"GetFileHeader",
     [](Session& session) { return session.host.GetFileHeader(); },
     {{kTaken, IsAsBefore}, {kAgain, StartsAgain}}},
    {"GetStreamHeader",
     [](Session& session) { return session.host.GetStreamHeader(0); },
     {{kTaken, IsAsBefore}, {kOneHeaderMore, HasOneHeaderMore}, {kAgain, StartsAgain}}},
    {"an unexpected completion", &Session::CompleteUnasked, {}},
};

/// The outcome of the call as a letter of the matrix. The session has ended.
char OutcomeOf(const Session& session, const Action& action, const Undisturbed& undisturbed) {
  const auto before = static_cast<std::ptrdiff_t>(session.linesBefore);
  const Course course{session.After(), {undisturbed.log.begin() + before, undisturbed.log.end()}, undisturbed};
  if (session.result == kInvalidState && IsAsBefore(course)) return kRefused;
  if (session.result != kOk) return kOther;
  for (const auto& [letter, holds] : action.outcomes) {
    if (holds(course)) return letter;
  }
  return kOther;
}

/// What a row says when some of its moments have the one outcome and some the other.
char Join(char one, char other) {
  if (one == ' ' || one == other) return other;
  const std::string both = {one, other};
  const bool isHarmless = both.find_first_not_of({kTaken, kRefused, kEither}) == std::string::npos;
  return isHarmless ? kEither : kOther;
}

TEST(ReentryMatrix, OfEveryCallbackAndEveryCall_HasTheOutcomeThatIsWrittenDown) {
  const Lines log = Undisturbed({}, Completes::kInline).log;
  const auto isRead = [](const std::string& line) { return line.starts_with("Read("); };
  const auto readsBeforeScan = static_cast<int>(std::count_if(log.begin(), std::ranges::find(log, "Read(16)"), isRead));
  const auto reads = static_cast<int>(std::ranges::count_if(log, isRead));
  const auto failingRead = [](int nth) { return Fault{{Asked::kRead}, Failing::kCompletesWithFailure, nth}; };
  const struct {
    Fault fault;
    /// The moments that count end so.
    std::string_view only = "";
  } scenarios[] = {{},
                   {failingRead(1), "(failed)"},
                   {failingRead(2), "(failed)"},
                   {failingRead(readsBeforeScan + 1), "(failed)"},
                   // Packets are queued when a read fails amid the others.
                   {failingRead(readsBeforeScan - 6), "seek: last Release of a packet"},
                   {failingRead(reads - 6), "closing: last Release of a packet"},
                   {{{Asked::kSetProperty}, Failing::kRefuses, 14}, "headers: last Release of a list"}};

  std::map<std::string, std::string> expected;
  for (const auto& row : kMatrix) expected.emplace(row.moment, row.outcomes);
  std::map<std::string, std::string> outcomes;
  int calls = 0;
  for (const auto& [fault, only] : scenarios) {
    for (const Completes completes : {Completes::kInline, Completes::kLater}) {
      const Undisturbed undisturbed(fault, completes);
      for (std::size_t i = 0; i < std::size(kActions); ++i) {
        for (int callback = 1;; ++callback) {
          Session session(fault, completes, callback, kActions[i].call);
          session.Run();
          // The last callbacks are those of Close.
          session.End();
          if (session.moment.empty()) break;
          if (!session.moment.ends_with(only)) continue;
          const char outcome = OutcomeOf(session, kActions[i], undisturbed);
          EXPECT_NE(kOther, outcome) << kActions[i].name << " at " << session.moment << " returns "
                                     << Hex(session.result) << ", then " << testing::PrintToString(session.After());
          char& cell = outcomes.try_emplace(session.moment, std::size(kActions), ' ').first->second[i];
          cell = Join(cell, outcome);
          ++calls;
        }
        EXPECT_EQ(0, ReadLibraryHeap().live) << "after " << kActions[i].name;
        EXPECT_EQ(kOk, Exports().canUnload()) << "after " << kActions[i].name;
      }
    }
  }
  for (const auto& [moment, row] : outcomes) EXPECT_EQ(expected[moment], row) << moment;
  for (const auto& [moment, row] : expected) EXPECT_TRUE(outcomes.contains(moment)) << moment << " does not happen";
  fmt::print("{} calls inside {} kinds of callbacks\n", calls, outcomes.size());
}

}  // namespace
}  // namespace qbflv::test
