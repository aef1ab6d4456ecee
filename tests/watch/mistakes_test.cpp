// Plants every mistake that the watch layer knows, each in a process of its own, and expects its report and no other.
#include <gtest/gtest.h>

#include <algorithm>
#include <cstdlib>
#include <fstream>
#include <iterator>
#include <string>
#include <thread>

#include "host/packet.h"
#include "tests/watch/bad_host.h"
#include "watch/rules.h"

namespace qbflv::test {
namespace {

/// A buffer of 9 bytes that calls a function in GetSize, and has bytes or not.
class OddBuffer final : public host::ComObject<IQBBuffer> {
 public:
  explicit OddBuffer(bool hasBytes) : m_hasBytes(hasBytes) {}
  Status Set(const std::uint8_t* /*bytes*/, std::uint32_t /*length*/) override { return kOk; }
  Status SetSize(std::uint32_t /*size*/) override { return kOk; }
  std::uint32_t GetSize() override {
    if (onGetSize) onGetSize();
    return sizeof(m_bytes);
  }
  std::uint8_t* GetBuffer() override { return m_hasBytes ? m_bytes : nullptr; }

  std::function<void()> onGetSize;

 private:
  bool m_hasBytes;
  std::uint8_t m_bytes[9] = {'F', 'L', 'V', 1, 5, 0, 0, 0, 9};
};

class LatePacket final : public host::BasicPacket<IQBPacket> {
 public:
  std::uint32_t GetTime() override { return BasicPacket::GetTime() + 1; }
};

/// Has no reference when it is returned.
class UncountedList final : public IQBPropertyList {
 public:
  Status QueryInterface(const GUID& /*id*/, void** object) override {
    *object = nullptr;
    return kNoInterface;
  }
  std::uint32_t AddRef() override { return ++m_count; }
  std::uint32_t Release() override { return --m_count; }
  Status SetULONG32(const char* /*name*/, std::uint32_t /*value*/) override { return kOk; }
  Status GetULONG32(const char* /*name*/, std::uint32_t* /*value*/) override { return kFailed; }
  Status SetBuffer(const char* /*name*/, IQBBuffer* /*value*/) override { return kOk; }
  Status GetBuffer(const char* /*name*/, IQBBuffer** /*value*/) override { return kFailed; }
  Status SetCString(const char* /*name*/, IQBBuffer* /*value*/) override { return kOk; }
  Status GetCString(const char* /*name*/, IQBBuffer** /*value*/) override { return kFailed; }

 private:
  std::uint32_t m_count = 0;
};

ComPtr<host::Buffer> BufferOf(std::uint32_t size) {
  auto buffer = host::MakeObject<host::Buffer>();
  static_cast<void>(buffer->SetSize(size));
  return buffer;
}

/// Opens the file up to Read(9), which is pending then.
void StartFirstRead(BadHost& host) {
  host.StartOpening();
  host.file->Complete();
  host.file->Complete();
}

/// Completes Read(9) with another buffer, and goes on.
void CompleteFirstReadWith(BadHost& host, Status status, IQBBuffer* buffer) {
  StartFirstRead(host);
  host.file->DropPending();
  host.file->response->ReadDone(status, buffer);
  host.Pump();
}

void CompleteOutOfOrder(BadHost& host) {
  host.ReadHeaders();
  host.GetPackets();
  for (int i = 0; i < 5; ++i) host.file->Complete();  // up to the body of the first packet, smaller than a tag header
  host.format->Seek(5000);
  host.file->CompleteLatest();
  host.file->CompleteLatest();
  host.Pump();
}

/// The preferences are read between the request's headers and the end of the opening.
void ChangeList(BadHost& host) {
  static_cast<void>(host.request->Headers().SetULONG32("ProcessTimeUnits", 100));
  std::uint32_t queries = 0;
  host.context->onQuery = [&] {
    static_cast<void>(host.request->Headers().SetULONG32("ProcessTimeUnits", 101U + ++queries));
  };
  host.Open();
}

void CreateInstead(BadHost& host, const GUID& replaced, IUnknown* object) {
  host.context->create = [replaced, object](const GUID& classId, void** out) {
    if (!(classId == replaced)) return false;
    *out = object;
    return true;
  };
  host.ReadHeaders();
}

void CreateLatePackets(BadHost& host) {
  host.context->create = [](const GUID& classId, void** out) {
    if (!(classId == IQBPacket::kId)) return false;
    IQBPacket* const packet = host::MakeObject<LatePacket>().Detach();
    *out = packet;
    return true;
  };
  host.Play();
}

void CreateFullBuffers(BadHost& host) {
  host.context->create = [](const GUID& classId, void** out) {
    if (!(classId == IQBBuffer::kId)) return false;
    IQBBuffer* const buffer = BufferOf(5).Detach();
    *out = buffer;
    return true;
  };
  host.ReadHeaders();
}

void ShareFile(BadHost& host) {
  host.Open();
  const auto other = host.library.CreateInstance();
  const auto format = other.Query<IQBFileFormatObject>();
  other->InitPlugin(host.context.Get());
  const auto response = host.file->response;
  format->InitFileFormat(host.request.Get(), host.sink.Get(), host.file.Get());
  host.Pump();
  format->Close();
}

void KeepPacket(BadHost& host) {
  static ComPtr<IQBPacket> kept;
  host.onSinkCall = [](const host::SinkEvent& event) {
    if (event.packet) kept = event.packet;
  };
  host.Play();
}

void CallFromBuffer(BadHost& host) {
  const auto buffer = host::MakeObject<OddBuffer>(true);
  buffer->onGetSize = [&] { host.plugin->GetPluginInfo(nullptr, nullptr, nullptr, nullptr, nullptr); };
  CompleteFirstReadWith(host, kOk, buffer.Get());
  buffer->onGetSize = nullptr;
}

void CallFromTwoThreads(BadHost& host) {
  host.onSinkCall = [&](const host::SinkEvent& /*event*/) {
    std::thread([&] { host.plugin->GetPluginInfo(nullptr, nullptr, nullptr, nullptr, nullptr); }).join();
  };
  host.Open();
}

void ReleaseTwice(BadHost& host) {
  host.Open();
  IQBFileResponse* const response = host.file->response.Get();
  host.file->response = nullptr;
  response->Release();
}

void CallAfterRelease(BadHost& host) {
  IQBFileFormatObject* const format = host.format.Get();
  host.format = nullptr;
  host.plugin = nullptr;
  format->GetFileFormatInfo(nullptr, nullptr, nullptr);
}

void CompleteOnTheObject(BadHost& host) {
  host.Open();
  host.plugin.Query<IQBFileResponse>()->SeekDone(kOk);
}

void CompleteAfterClose(BadHost& host) {
  host.Open();
  host.format->Close();
  host.file->response->SeekDone(kOk);
}

struct Mistake {
  /// The rule that the layer reports; "none" for a host that makes no mistake.
  const char* rule;
  void (*make)(BadHost& host);
};

const Mistake kMistakes[] = {
    {"none", [](BadHost& host) { host.Play(); }},
    {"completed-twice",
     [](BadHost& host) {
       host.Open();
       host.file->response->SeekDone(kOk);
     }},
    {"not-requested",
     [](BadHost& host) {
       host.StartOpening();
       host.file->response->SeekDone(kOk);
       host.Pump();
     }},
    {"out-of-order", CompleteOutOfOrder},
    {"never-completed",
     [](BadHost& host) {
       host.Open();
       host.format->GetFileHeader();
     }},
    {"wrong-object", CompleteOnTheObject},
    {"completed-after-close", CompleteAfterClose},
    {"read-too-long", [](BadHost& host) { CompleteFirstReadWith(host, kOk, BufferOf(20).Get()); }},
    {"read-without-buffer", [](BadHost& host) { CompleteFirstReadWith(host, kOk, nullptr); }},
    {"size-wraps",
     [](BadHost& host) {
       host.file->reportedSize = 1000;
       host.Play();
     }},
    {"file-shared", ShareFile},
    {"buffer-changed",
     [](BadHost& host) {
       host.Open();
       static_cast<void>(host.file->buffers.front()->SetSize(3));
     }},
    {"buffer-without-bytes",
     [](BadHost& host) { CompleteFirstReadWith(host, kOk, host::MakeObject<OddBuffer>(false).Get()); }},
    {"list-changed", ChangeList},
    {"packet-changed", CreateLatePackets},
    {"packet-kept", KeepPacket},
    {"call-from-data", CallFromBuffer},
    {"success-without-object", [](BadHost& host) { CreateInstead(host, IQBBuffer::kId, nullptr); }},
    {"returned-without-reference",
     [](BadHost& host) {
       static UncountedList list;
       CreateInstead(host, IQBPropertyList::kId, &list);
     }},
    {"instance-not-empty", CreateFullBuffers},
    {"unknown-status", [](BadHost& host) { CompleteFirstReadWith(host, MakeStatus(0x80001234), nullptr); }},
    {"wrong-state", [](BadHost& host) { host.format->GetFileHeader(); }},
    {"packet-requested-twice",
     [](BadHost& host) {
       host.ReadHeaders();
       host.format->GetPacket(0);
       host.format->GetPacket(0);
     }},
    {"unknown-stream",
     [](BadHost& host) {
       host.ReadHeaders();
       host.format->GetPacket(7);
     }},
    {"null-argument", [](BadHost& host) { host.plugin->InitPlugin(nullptr); }},
    {"time-wraps",
     [](BadHost& host) {
       host.ReadHeaders();
       host.format->Seek(static_cast<std::uint32_t>(-5));
       host.Pump();
     }},
    {"two-threads", CallFromTwoThreads},
    {"released-too-often", ReleaseTwice},
    {"used-after-release", CallAfterRelease},
    {"never-released", [](BadHost& host) { host.plugin->AddRef(); }},
};

class Watch : public testing::TestWithParam<Mistake> {};

/// The layer writes its totals when the process ends.
void MakeAndExit(const Mistake& mistake) {
  if (mistake.rule == std::string("never-completed")) setenv("QBFLVPLUS_WATCH_PATIENCE", "0", 1);
  {
    BadHost host;
    mistake.make(host);
  }
  std::exit(0);
}

TEST_P(Watch, Mistake_IsReportedAlone) {
  const std::string rule = GetParam().rule;
  const std::string report = rule == "none" ? "" : "qbflvplus-watch: " + rule + ": (.|\n)*";
  const std::string count = rule == "none" ? "none" : "[0-9]+ x " + rule;
  GTEST_FLAG_SET(death_test_style, "fast");
  EXPECT_EXIT(MakeAndExit(GetParam()), testing::ExitedWithCode(0), report + "violations: " + count + "\n");
}

TEST(WatchLog, AsJson_HasTheRuleAndTheCalls) {
  GTEST_FLAG_SET(death_test_style, "fast");
  const auto makeAsJson = [] {
    setenv("QBFLVPLUS_WATCH_FORMAT", "json", 1);
    MakeAndExit({"wrong-state", [](BadHost& host) { host.format->GetFileHeader(); }});
  };
  EXPECT_EXIT(makeAsJson(), testing::ExitedWithCode(0),
              "\\{\"violation\":\"wrong-state\",\"what\":\".*\",\"rule\":\".*\",\"calls\":\\[\\{\"call\":"
              "\"IQBFileFormatObject::GetFileHeader\\(\\)\",\"depth\":0\\}\\]\\}\n\\{\"totals\":\\{\"sessions\":1,.*"
              "\"violations\":\\{\"wrong-state\":1\\}");
}

/// A rule that is added needs a row above and a line in the guide.
TEST(WatchRules, EachHasAMistake_AndALineInTheHostGuide) {
  std::ifstream file(QBFLV_HOST_GUIDE);
  const std::string guide(std::istreambuf_iterator<char>(file), {});
  for (std::size_t i = 0; i < watch::kRuleCount; ++i) {
    const watch::RuleText& rule = watch::Text(static_cast<watch::Rule>(i));
    EXPECT_TRUE(std::ranges::any_of(kMistakes, [&](const Mistake& row) { return row.rule == std::string(rule.name); }))
        << rule.name;
    const std::string line = std::string("| `") + rule.name + "` | " + rule.sentence + " |";
    EXPECT_NE(guide.find(line), std::string::npos) << line;
  }
}

INSTANTIATE_TEST_SUITE_P(Each, Watch, testing::ValuesIn(kMistakes), [](const auto& row) {
  std::string name = row.param.rule;
  for (char& letter : name) letter = letter == '-' ? '_' : letter;
  return name;
});

}  // namespace
}  // namespace qbflv::test
