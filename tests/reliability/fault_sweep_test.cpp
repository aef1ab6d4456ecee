// Sessions in which exactly one thing that the library asks of its host goes wrong: the first, the second, and so on
// until a session asks for fewer.
#include <fmt/format.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <vector>

#include "tests/reliability/faulty_host.h"
#include "tests/support/library_heap.h"
#include "tests/support/scripted_host.h"

namespace qbflv::test {
namespace {

/// More than any session here needs, and less than one that goes round in circles.
constexpr std::uint64_t kMostOperations = 2000;

/// One request of the sink, and what may answer it.
class Requests {
 public:
  using Kind = host::SinkEvent::Kind;

  void Made(Kind answer, std::uint16_t stream = 0) { m_open.push_back({answer, stream}); }
  void Refused(Kind answer, std::uint16_t stream = 0) { static_cast<void>(Take(answer, stream)); }
  /// What a seek takes the place of.
  void Overtake() {
    std::erase_if(m_open, [](const Request& request) {
      return request.answer == Kind::kPacketReady || request.answer == Kind::kSeekDone;
    });
  }

  /// False for an answer that nothing asked for.
  bool Answered(const host::SinkEvent& event) {
    if (event.kind == Kind::kStreamDone) {
      Take(Kind::kPacketReady, event.stream);
      return true;  // a stream may end by itself
    }
    return Take(event.kind, event.kind == Kind::kPacketReady ? event.stream : std::uint16_t{0});
  }

  std::size_t Open() const { return m_open.size(); }
  std::string Describe() const {
    std::string text;
    for (const Request& request : m_open)
      text += fmt::format(" {}/{}", static_cast<int>(request.answer), request.stream);
    return text;
  }

 private:
  struct Request {
    Kind answer;
    std::uint16_t stream;
  };

  bool Take(Kind answer, std::uint16_t stream) {
    const auto found = std::ranges::find_if(
        m_open, [&](const Request& request) { return request.answer == answer && request.stream == stream; });
    if (found == m_open.end()) return false;
    m_open.erase(found);
    return true;
  }

  std::vector<Request> m_open;
};

class Session {
 public:
  Session(FaultPlan& plan, const Bytes& bytes, bool answersInline)
      : m_plan(plan),
        m_context(MakeFaultyContext(plan)),
        m_request(MakeFaultyRequest(plan)),
        m_file(host::MakeObject<FaultyFile>(plan, bytes, answersInline)),
        m_sink(host::MakeObject<host::RecordingSink>([this](const host::SinkEvent& event) { OnSink(event); })) {}
  Session(const Session&) = delete;
  Session& operator=(const Session&) = delete;
  ~Session() { m_file->DropAnswers(); }

  /// All that a host does with a file, whatever fails on the way.
  void Run() {
    IUnknown* object = nullptr;
    if (Failed(Exports().createInstance(&object))) return;
    m_plugin = ComPtr<IUnknown>::Adopt(object).Query<IQBPlugin>();
    m_format = m_plugin.Query<IQBFileFormatObject>();
    m_plugin->InitPlugin(m_context.Get());
    Ask(Kind::kInitDone, [&] { return m_format->InitFileFormat(m_request.Get(), m_sink.Get(), m_file.Get()); });
    // A host may ask again after a failure.
    for (int i = 0; i < 2 && m_streamCount == 0; ++i) {
      Ask(Kind::kFileHeaderReady, [&] { return m_format->GetFileHeader(); });
    }
    for (std::uint16_t i = 0; i < m_streamCount; ++i) {
      Ask(Kind::kStreamHeaderReady, [&] { return m_format->GetStreamHeader(i); });
    }
    Play(3);
    for (const std::uint32_t time : {0U, 1600U, 1000000U, 1000U}) {
      m_requests.Overtake();
      Ask(Kind::kSeekDone, [&] { return m_format->Seek(time); });
      Play(time == 1000 ? 100 : 2);
    }
    CheckAnswers();
    Close();
    if (!m_plan.Struck() && m_plan.How() != Failing::kNot) {
      EXPECT_GE(m_packets, 15) << "without a fault";
    }
  }

 private:
  using Kind = host::SinkEvent::Kind;

  template <typename Request>
  void Ask(Kind answer, Request request, std::uint16_t stream = 0) {
    m_requests.Made(answer, stream);
    if (Failed(request())) m_requests.Refused(answer, stream);
    while (m_file->Answer()) {
    }
    EXPECT_LE(m_file->Operations(), kMostOperations);
  }

  void Play(int packets) {
    for (int i = 0; i < packets; ++i) {
      for (std::uint16_t stream = 0; stream < m_streamCount; ++stream) {
        Ask(
            Kind::kPacketReady, [&] { return m_format->GetPacket(stream); }, stream);
      }
    }
  }

  /// Nothing stays open but what waits for an operation that is never answered: one request, and behind a seek one more
  /// of each stream.
  void CheckAnswers() const {
    const bool withoutAnswer = m_plan.How() == Failing::kRefuses || m_plan.How() == Failing::kNeverAnswers;
    const std::size_t allowed = m_plan.Struck() && withoutAnswer ? m_streamCount + 1 : 0;
    EXPECT_LE(m_requests.Open(), allowed) << "open:" << m_requests.Describe();
  }

  void Close() {
    EXPECT_EQ(kOk, m_format->Close());
    m_isClosed = true;
    while (m_file->Answer()) {
    }
    EXPECT_EQ(Hex(kInvalidState), Hex(m_format->Seek(0)));
    m_format = nullptr;
    m_plugin = nullptr;
    EXPECT_EQ(0U, OtherReferences(m_context.Get()));
    EXPECT_EQ(0U, OtherReferences(m_request.Get()));
    EXPECT_EQ(0U, OtherReferences(m_sink.Get()));
    EXPECT_EQ(0U, OtherReferences(m_file.Get()));
    m_plan.Pause(true);
    m_context = nullptr;
    m_request = nullptr;
    EXPECT_EQ(0, m_plan.objects) << "of this host, when nobody holds any";
  }

  void OnSink(const host::SinkEvent& event) {
    EXPECT_FALSE(m_isClosed) << "a call of the sink after Close: " << Describe(event);
    // A refused operation that is answered all the same completes a request that was refused.
    if (!m_requests.Answered(event)) {
      EXPECT_EQ(Failing::kRefusesAndAnswers, m_plan.How()) << "nobody asked for " << Describe(event);
    }
    if (event.kind == Kind::kPacketReady) ++m_packets;
    if (event.kind != Kind::kFileHeaderReady || !event.header) return;
    EXPECT_EQ(kOk, event.status);
    m_plan.Pause(true);
    static_cast<void>(event.header->GetULONG32("StreamCount", &m_streamCount));
    m_plan.Pause(false);
  }

  FaultPlan& m_plan;
  ComPtr<IUnknown> m_context;
  ComPtr<IQBRequest> m_request;
  ComPtr<FaultyFile> m_file;
  ComPtr<host::RecordingSink> m_sink;
  ComPtr<IQBPlugin> m_plugin;
  ComPtr<IQBFileFormatObject> m_format;
  Requests m_requests;
  std::uint32_t m_streamCount = 0;
  int m_packets = 0;
  bool m_isClosed = false;
};

struct File {
  const char* name;
  Bytes bytes;
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
std::vector<File> Files() {
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

/// Runs a session with the nth fault for n = 1, 2, 3 … in each file and mode; answers the number of faults.
template <typename RunOne>
int Sweep(RunOne runOne) {
  int faults = 0;
  for (const File& file : Files()) {
    for (const bool answersInline : {true, false}) {
      for (int nth = 1;; ++nth) {
        SCOPED_TRACE(fmt::format("{}, {}, fault {}", file.name, answersInline ? "inline" : "queued", nth));
        const bool struck = runOne(file.bytes, answersInline, nth);
        EXPECT_EQ(0, ReadLibraryHeap().live) << "blocks that were not given back";
        EXPECT_EQ(0, ReadLibraryHeap().mismatches);
        EXPECT_EQ(kOk, Exports().canUnload());
        if (!struck || testing::Test::HasFailure()) break;
        ++faults;
      }
    }
  }
  return faults;
}

TEST(FaultSweep, OfEverythingThatTheHostIsAskedFor_DoesNoHarm) {
  static_cast<void>(Exports());
  using enum Asked;
  const struct {
    const char* name;
    std::set<Asked> asked;
    Failing how;
  } rows[] = {
      {"interfaces, refused", {kInterface}, Failing::kRefuses},
      {"interfaces, null", {kInterface}, Failing::kAnswersNull},
      {"objects, refused", {kObject}, Failing::kRefuses},
      {"objects, null", {kObject}, Failing::kAnswersNull},
      {"setting properties", {kSetProperty}, Failing::kRefuses},
      {"getting properties", {kGetProperty}, Failing::kRefuses},
      {"getting properties, null", {kGetProperty}, Failing::kAnswersNull},
      {"filling buffers and packets", {kFillBuffer, kFillPacket}, Failing::kRefuses},
      {"buffers without bytes", {kBufferBytes}, Failing::kAnswersNull},
      {"headers, URL and preferences, refused", {kRequest, kPreference}, Failing::kRefuses},
      {"headers, URL and preferences, null", {kRequest, kPreference}, Failing::kAnswersNull},
      {"the access hint", {kHint}, Failing::kRefuses},
      {"operations, refused", {kInit, kRead, kSeek, kStat}, Failing::kRefuses},
      {"operations, refused and answered", {kInit, kRead, kSeek, kStat}, Failing::kRefusesAndAnswers},
      {"operations, failing", {kInit, kRead, kSeek, kStat}, Failing::kAnswersFailure},
      {"operations, never answered", {kInit, kRead, kSeek, kStat}, Failing::kNeverAnswers},
      {"reads, half", {kRead}, Failing::kAnswersHalf},
      {"reads, empty", {kRead}, Failing::kAnswersEmpty},
      {"reads, null", {kRead}, Failing::kAnswersNull},
      {"reads, more than asked for", {kRead}, Failing::kAnswersMore},
      {"stat, half the size", {kStat}, Failing::kAnswersHalf},
  };
  int total = 0;
  for (const auto& row : rows) {
    SCOPED_TRACE(row.name);
    const int faults = Sweep([&](const Bytes& bytes, bool answersInline, int nth) {
      FaultPlan plan(row.asked, row.how, nth);
      Session(plan, bytes, answersInline).Run();
      return plan.Struck();
    });
    fmt::print("{:6} faults: {}\n", faults, row.name);
    EXPECT_GT(faults, 0);
    total += faults;
  }
  fmt::print("{:6} faults in all\n", total);
}

TEST(FaultSweep, OfEveryAllocation_DoesNoHarm) {
  static_cast<void>(Exports());
  int total = 0;
  for (const Shortage shortage : {Shortage::kThrows, Shortage::kReturnsNull}) {
    for (const bool everyAfter : {false, true}) {
      const int faults = Sweep([&](const Bytes& bytes, bool answersInline, int nth) {
        FaultPlan plan({}, Failing::kNot, 1);
        const HeapShortage heapShortage(nth, shortage, everyAfter);
        Session(plan, bytes, answersInline).Run();
        return heapShortage.Struck();
      });
      fmt::print("{:6} faults: allocations that {}{}\n", faults, shortage == Shortage::kThrows ? "throw" : "give null",
                 everyAfter ? ", and all behind them" : "");
      EXPECT_GT(faults, 0);
      total += faults;
    }
  }
  fmt::print("{:6} faults in all\n", total);
}

}  // namespace
}  // namespace qbflv::test
