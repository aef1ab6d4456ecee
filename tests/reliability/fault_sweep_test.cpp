// Sessions in which exactly one thing that the library asks of its host goes wrong: the first, the second, and so on
// until a session asks for fewer.
#include <fmt/format.h>
#include <gtest/gtest.h>

#include <optional>
#include <set>
#include <string>
#include <utility>
#include <vector>

#include "tests/support/library_heap.h"
#include "tests/support/scripted_host.h"

namespace qbflv::test {
namespace {

/// More than any session here needs, and less than one that never ends.
constexpr std::uint64_t kMaxOperations = 2000;

/// All that a host does with a file, whatever fails on the way.
class Session {
 public:
  explicit Session(const HostScript& script) : m_host(script) {
    m_host.OnSinkCall([this](const host::SinkEvent& event) {
      EXPECT_FALSE(m_isClosed) << "a call of the sink after Close";
      if (event.kind == host::SinkEvent::Kind::kPacketReady) ++m_packets;
      const std::string& call = m_host.log.All().back();
      Note(call.substr(0, call.find(' ')), event.status);
    });
  }

  void Run() {
    if (!m_host.plugin) return;
    Note("InitPlugin", m_host.InitPlugin());
    Note("InitFileFormat", m_host.InitFileFormat());
    // A host may ask again after a failure.
    for (int i = 0; i < 2 && m_host.StreamCount() == 0; ++i) Note("GetFileHeader", m_host.GetFileHeader());
    GetStreamHeaders();
    Play(3);
    for (const std::uint32_t time : {0U, 1600U, 1000000U, 1000U}) {
      Note("Seek", m_host.Seek(time));
      Play(time == 1000 ? 100 : 2);
    }
    EXPECT_LE(m_host.file->Operations(), kMaxOperations);
    CheckRequests();
  }

  /// Whatever has failed since the file was open, it plays to its end when nothing fails any more.
  void PlayAgain() {
    if (!m_host.plugin || m_firstFailure.starts_with("Init")) return;
    if (m_host.StreamCount() == 0) m_host.GetFileHeader();
    EXPECT_GT(m_host.StreamCount(), 0U);
    GetStreamHeaders();
    EXPECT_EQ(kOk, m_host.Seek(0));
    m_packets = 0;
    Play(100);
    EXPECT_GE(m_packets, 13 * m_host.StreamCount());
  }

  void Close() {
    if (!m_host.plugin) return;
    EXPECT_EQ(kOk, m_host.Close());
    m_isClosed = true;
    m_host.Pump();
    EXPECT_EQ(Hex(kInvalidState), Hex(m_host.Seek(0)));
    EXPECT_EQ(0, m_host.Abandon()) << "objects and references that are left";
    m_host.ReleasePlugin();
  }

  std::size_t Packets() const { return m_packets; }
  bool HasStruck() const { return m_host.faults.HasStruck(); }
  /// "Seek 0x80040009" for a request that returns that status, "SeekDone 0x80004005" for a sink call that carries it.
  /// Nothing where the session goes on without a failure, or where streams only end early.
  const std::string& FirstFailure() const { return m_firstFailure; }

 private:
  void Note(const std::string& call, Status status) {
    if (Failed(status) && m_firstFailure.empty()) m_firstFailure = call + " " + Hex(status);
  }

  void GetStreamHeaders() {
    for (std::uint16_t i = 0; i < m_host.StreamCount(); ++i) Note("GetStreamHeader", m_host.GetStreamHeader(i));
  }

  void Play(int packets) {
    for (int i = 0; i < packets; ++i) {
      for (std::uint16_t stream = 0; stream < m_host.StreamCount(); ++stream) {
        // Refused when the stream is done.
        const Status status = m_host.GetPacket(stream);
        EXPECT_TRUE(status == kOk || status == kInvalidState) << Hex(status);
      }
    }
  }

  /// Nothing stays open but what waits for an operation that is never completed: one request, and after a seek one more
  /// of each stream.
  void CheckRequests() const {
    const Failing how = m_host.faults.How();
    const bool isNeverCompleted = how == Failing::kRefuses || how == Failing::kNeverCompletes;
    EXPECT_LE(m_host.OpenRequests(),
              m_host.faults.HasStruck() && isNeverCompleted ? m_host.StreamCount() + 1 : std::size_t{0});
    // A refused operation that is completed all the same completes a request that was refused.
    if (how != Failing::kRefusesAndCompletes) {
      EXPECT_EQ(CallLog::Lines(), m_host.Unasked());
    }
  }

  ScriptedHost m_host;
  std::string m_firstFailure;
  std::size_t m_packets = 0;
  bool m_isClosed = false;
};

/// With metadata of every kind and a tag to skip. positions: of the key frames, for their list.
FlvBuilder Rich(const std::vector<double>& positions) {
  FlvBuilder flv(kBoth);
  const Bytes nested = amf::Object({{"a", amf::Array({amf::String("b"), amf::Object({{"c", amf::Number(1)}})})}});
  flv.Metadata(QuickMetadata({{"title", amf::String("T")},
                              {"creator", amf::String("C")},
                              {"deep", nested},
                              {"keyframes", amf::KeyFrames({0, 1.2, 2.4}, positions)}}));
  for (std::uint32_t i = 0; i < 14; ++i) {
    flv.Audio(i * 200, 10 + i).Video(i * 200, 20 + i, i % 6 == 0);
    if (i == 12) flv.Tag(kScriptTag, i * 200, amf::String("onCuePoint"));
  }
  return flv;
}

/// With metadata and a key-frame list, without any, and with sound alone.
std::vector<std::pair<const char*, Bytes>> Files() {
  std::vector<double> positions(3);
  const FlvBuilder draft = Rich(positions);
  for (std::size_t i = 0; i < 3; ++i) positions[i] = draft.Field(2 + 12 * i) + 4;
  FlvBuilder bare(kBoth);
  FlvBuilder sound(kAudio);
  sound.Metadata(amf::MixedArray({{"audiodatarate", amf::Number(64)}}));
  for (std::uint32_t i = 0; i < 14; ++i) {
    bare.Audio(i * 500, 10 + i).Video(i * 500, 20 + i, i % 3 == 0);
    sound.Audio(i * 200, 10 + i);
  }
  return {{"rich", Rich(positions).File()}, {"bare", bare.File()}, {"sound alone", sound.File()}};
}

/// Runs a session with the n-th fault for n = 1, 2, 3 … in each file and mode, until a session is without one. Prints
/// the number of faults, and returns how they show first, in one line. runOne: runs one session; returns its first
/// failure, or nothing when the fault was not reached.
template <typename RunOne>
std::string Sweep(const std::string& name, RunOne runOne) {
  int faults = 0;
  std::set<std::string> seen;
  for (const auto& [file, bytes] : Files()) {
    for (const Completes completes : {Completes::kInline, Completes::kLater}) {
      for (int nth = 1;; ++nth) {
        SCOPED_TRACE(
            fmt::format("{}, {}, {}, fault {}", name, file, completes == Completes::kInline ? "inline" : "later", nth));
        const std::optional<std::string> failure =
            runOne({.file = {.bytes = bytes, .completes = completes},
                    .url = R"(http://user@host:80/a%20b/clip.flv$1:30&name=%41bc&Delay=2&text="a b")",
                    .headers = {{"AcceptMetaInfo", "title,creator"}},
                    .preferences = {{"FLVMergeSorterMaxTimespan", "5000"}}},
                   nth);
        EXPECT_EQ(0, ReadLibraryHeap().live) << "blocks that were not given back";
        EXPECT_EQ(0, ReadLibraryHeap().mismatches);
        EXPECT_EQ(kOk, Exports().canUnload());
        if (!failure) break;
        if (!failure->empty()) seen.insert(*failure);
        ++faults;
      }
    }
  }
  fmt::print("{:6} faults: {}\n", faults, name);
  EXPECT_GT(faults, 0);
  return fmt::format("{}", fmt::join(seen, ", "));
}

TEST(FaultSweep, OfEverythingThatTheHostIsAskedFor_DoesNoHarmAndIsReported) {
  using enum Asked;
  using enum Failing;
  constexpr char kOpeningOrHeaders[] =
      "FileHeaderReady 0x8007000E, InitFileFormat 0x80040009, StreamHeaderReady 0x8007000E";
  constexpr char kOpeningOrNoHeaders[] =
      "FileHeaderReady 0x80004005, InitFileFormat 0x80040009, StreamHeaderReady 0x80004005";
  constexpr char kOpeningOrUnopened[] = "GetFileHeader 0x80040009, InitDone 0x8007000E, InitFileFormat 0x8007000E";
  constexpr char kTooShort[] = "FileHeaderReady 0x80004005, FileHeaderReady 0x80040009, StreamHeaderReady 0x80040009";
  const std::set<Asked> operations{kInit, kRead, kSeek, kStat};
  const struct {
    const char* name;
    std::set<Asked> asked;
    Failing how;
    /// How the faults show first.
    const char* shows;
  } rows[] = {
      {"interfaces, refused", {kInterface}, kRefuses, kOpeningOrHeaders},
      {"interfaces, null", {kInterface}, kNull, kOpeningOrNoHeaders},
      {"objects, refused", {kObject}, kRefuses, kOpeningOrHeaders},
      {"objects, null", {kObject}, kNull, kOpeningOrNoHeaders},
      {"setting properties", {kSetProperty}, kRefuses, "GetFileHeader 0x80040009, StreamHeaderReady 0x8007000E"},
      {"getting properties", {kGetProperty}, kRefuses, ""},
      {"getting properties, null", {kGetProperty}, kNull, ""},
      {"filling buffers and packets", {kFillBuffer, kFillPacket}, kRefuses, "StreamHeaderReady 0x8007000E"},
      {"buffers without bytes", {kBufferBytes}, kNull, "FileHeaderReady 0x80004005, InitDone 0x80004005"},
      {"headers and URL, refused", {kRequest}, kRefuses, "InitFileFormat 0x80040009"},
      {"headers and URL, null", {kRequest}, kNull, "InitFileFormat 0x80040009"},
      {"preferences, refused", {kPreference}, kRefuses, ""},
      {"preferences, null", {kPreference}, kNull, ""},
      {"the access hint", {kHint}, kRefuses, ""},
      {"operations, refused", operations, kRefuses, kOpeningOrUnopened},
      {"operations, refused and completed", operations, kRefusesAndCompletes,
       "InitDone 0x8007000E, InitFileFormat 0x8007000E"},
      {"operations, failing", operations, kCompletesWithFailure,
       "FileHeaderReady 0x80004005, InitDone 0x80004005, SeekDone 0x80004005"},
      {"operations, never completed", operations, kNeverCompletes, "GetFileHeader 0x80040009"},
      {"reads, half", {kRead}, kCompletesHalf, kTooShort},
      {"reads, empty", {kRead}, kCompletesEmpty, kTooShort},
      {"reads, null", {kRead}, kNull, kTooShort},
      {"reads, more than asked for", {kRead}, kCompletesMore, "FileHeaderReady 0x80004005, FileHeaderReady 0x80040009"},
      {"stat, half the size", {kStat}, kCompletesHalf, ""},
  };
  for (const auto& row : rows) {
    const std::string seen = Sweep(row.name, [&](HostScript script, int nth) {
      script.fault = {row.asked, row.how, nth};
      Session session(script);
      session.Run();
      session.Close();
      if (session.HasStruck()) return std::optional(session.FirstFailure());
      EXPECT_GE(session.Packets(), 15U);
      EXPECT_EQ("", session.FirstFailure());
      return std::optional<std::string>();
    });
    EXPECT_EQ(row.shows, seen) << row.name;
  }
}

TEST(FaultSweep, OfEveryAllocation_DoesNoHarmAndIsReported) {
  static_cast<void>(Exports());  // from here on the library is watched
  for (const Shortage shortage : {Shortage::kThrows, Shortage::kReturnsNull}) {
    for (const bool everyAfter : {false, true}) {
      const std::string name =
          fmt::format("allocations that {}{}", shortage == Shortage::kThrows ? "throw" : "give null",
                      everyAfter ? ", and all after them" : "");
      const std::string seen = Sweep(name, [&](const HostScript& script, int nth) {
        std::optional<HeapShortage> heapShortage(std::in_place, nth, shortage, everyAfter);
        Session session(script);
        session.Run();
        auto failure = heapShortage->Struck() ? std::optional(session.FirstFailure()) : std::nullopt;
        heapShortage.reset();
        session.PlayAgain();
        session.Close();
        return failure;
      });
      EXPECT_EQ("FileHeaderReady 0x8007000E, InitFileFormat 0x80040009, InitFileFormat 0x8007000E", seen) << name;
    }
  }
}

TEST(FaultSweep, OfTheObjectItself_MakesNone) {
  for (const Shortage shortage : {Shortage::kThrows, Shortage::kReturnsNull}) {
    int elsewhere = 0;
    void* object = &elsewhere;
    const CreateInstanceFunction create = Exports().createInstance;
    const HeapShortage heapShortage(1, shortage, true);
    EXPECT_EQ(Hex(kOutOfMemory), Hex(create(reinterpret_cast<IUnknown**>(&object))));
    EXPECT_EQ(nullptr, object);
  }
}

}  // namespace
}  // namespace qbflv::test
