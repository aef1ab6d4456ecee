// Plants every mistake that the watch layer knows, each in a process of its own, and expects its report and no other.
#include <gtest/gtest.h>

#include <algorithm>
#include <cstdlib>
#include <string>
#include <thread>

#include "host/packet.h"
#include "tests/watch/bad_host.h"
#include "watch/rules.h"

namespace qbflv::test {
namespace {

/// Something that a host does.
using Step = std::function<void(BadHost& host)>;

/// A buffer that counts no reference when it is returned, and may have a size without bytes.
class OddBuffer final : public IQBBuffer {
 public:
  Status QueryInterface(const GUID& /*id*/, void** object) override {
    *object = nullptr;
    return kNoInterface;
  }
  std::uint32_t AddRef() override { return ++m_count; }
  std::uint32_t Release() override { return --m_count; }
  Status Set(const std::uint8_t* /*bytes*/, std::uint32_t /*length*/) override { return kOk; }
  Status SetSize(std::uint32_t /*size*/) override { return kOk; }
  std::uint32_t GetSize() override {
    if (onGetSize) onGetSize();
    return size;
  }
  std::uint8_t* GetBuffer() override { return nullptr; }

  std::uint32_t size = 0;
  std::function<void()> onGetSize;

 private:
  std::uint32_t m_count = 0;
};

OddBuffer uncountedBuffer;

class LatePacket final : public host::BasicPacket<IQBPacket> {
 public:
  std::uint32_t GetTime() override { return BasicPacket::GetTime() + 1; }
};

ComPtr<host::Buffer> BufferOf(std::uint32_t size) {
  auto buffer = host::MakeObject<host::Buffer>();
  static_cast<void>(buffer->SetSize(size));
  return buffer;
}

/// Completes the file's first read, of 9 bytes, with another buffer, and goes on.
void CompleteFirstReadWith(BadHost& host, Status status, IQBBuffer* buffer) {
  host.StartOpening();
  host.file->Complete();
  host.file->Complete();
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

/// Has the host create other objects of a class than the reference host's.
Step CreateInstead(const GUID& replaced, std::function<IUnknown*()> create) {
  return [replaced, create = std::move(create)](BadHost& host) {
    host.context->replaced = replaced;
    host.context->create = create;
  };
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

void CallPlugin(BadHost& host) { host.plugin->GetPluginInfo(nullptr, nullptr, nullptr, nullptr, nullptr); }

void CompleteWithoutBytes(BadHost& host) {
  OddBuffer buffer;
  buffer.size = 9;
  CompleteFirstReadWith(host, kOk, &buffer);
}

void CallFromBuffer(BadHost& host) {
  OddBuffer buffer;
  buffer.onGetSize = [&] { CallPlugin(host); };
  CompleteFirstReadWith(host, kOk, &buffer);
}

void CallFromTwoThreads(BadHost& host) {
  host.onSinkCall = [&](const host::SinkEvent& /*event*/) { std::thread([&] { CallPlugin(host); }).join(); };
}

void ReleaseTwice(BadHost& host) {
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

struct Mistake {
  /// The rule that the layer reports; "none" for a host that makes no mistake.
  std::string rule;
  std::vector<Step> steps;
};

const std::vector<Mistake> kMistakes = {
    {"none", {&BadHost::Play}},
    {"completed-twice", {&BadHost::Open, &BadHost::CompleteSeek}},
    {"not-requested", {&BadHost::StartOpening, &BadHost::CompleteSeek, &BadHost::Pump}},
    {"out-of-order", {CompleteOutOfOrder}},
    {"never-completed", {&BadHost::Open, &BadHost::GetFileHeader}},
    {"wrong-object", {&BadHost::Open, [](BadHost& host) { host.plugin.Query<IQBFileResponse>()->SeekDone(kOk); }}},
    {"completed-after-close", {&BadHost::Open, &BadHost::Close, &BadHost::CompleteSeek}},
    {"read-too-long", {[](BadHost& host) { CompleteFirstReadWith(host, kOk, BufferOf(20).Get()); }}},
    {"read-without-buffer", {[](BadHost& host) { CompleteFirstReadWith(host, kOk, nullptr); }}},
    {"size-wraps", {[](BadHost& host) { host.file->reportedSize = 1000; }, &BadHost::Play}},
    {"file-shared", {ShareFile}},
    {"buffer-changed",
     {&BadHost::Open, [](BadHost& host) { static_cast<void>(host.file->buffers.front()->SetSize(3)); }}},
    {"buffer-without-bytes", {CompleteWithoutBytes}},
    {"list-changed", {ChangeList}},
    {"packet-changed",
     {CreateInstead(IQBPacket::kId, [] { return host::MakeObject<LatePacket>().Detach(); }), &BadHost::Play}},
    {"packet-kept", {KeepPacket}},
    {"call-from-data", {CallFromBuffer}},
    {"success-without-object", {CreateInstead(IQBBuffer::kId, [] { return nullptr; }), &BadHost::ReadHeaders}},
    {"returned-without-reference",
     {CreateInstead(IQBBuffer::kId, [] { return &uncountedBuffer; }), &BadHost::ReadHeaders}},
    {"instance-not-empty", {CreateInstead(IQBBuffer::kId, [] { return BufferOf(5).Detach(); }), &BadHost::ReadHeaders}},
    {"unknown-status", {[](BadHost& host) { CompleteFirstReadWith(host, MakeStatus(0x80001234), nullptr); }}},
    {"wrong-state", {&BadHost::GetFileHeader}},
    {"packet-requested-twice", {&BadHost::ReadHeaders, &BadHost::GetPackets, &BadHost::GetPackets}},
    {"unknown-stream", {&BadHost::ReadHeaders, [](BadHost& host) { host.format->GetPacket(7); }}},
    {"null-argument", {[](BadHost& host) { host.plugin->InitPlugin(nullptr); }}},
    {"time-wraps",
     {&BadHost::ReadHeaders, [](BadHost& host) { host.format->Seek(static_cast<std::uint32_t>(-5)); }, &BadHost::Pump}},
    {"two-threads", {CallFromTwoThreads, &BadHost::Open}},
    {"released-too-often", {&BadHost::Open, ReleaseTwice}},
    {"used-after-release", {CallAfterRelease}},
    {"never-released", {[](BadHost& host) { host.plugin->AddRef(); }}},
};

class Watch : public testing::TestWithParam<Mistake> {};

/// The layer writes its totals when the process ends.
void MakeAndExit(const Mistake& mistake) {
  if (mistake.rule == "never-completed") setenv("QBFLVPLUS_WATCH_PATIENCE", "0", 1);
  {
    BadHost host;
    for (const Step& step : mistake.steps) step(host);
  }
  std::exit(0);
}

TEST_P(Watch, Mistake_IsReportedAlone) {
  const std::string& rule = GetParam().rule;
  const std::string report = rule == "none" ? "" : "qbflvplus-watch: " + rule + ": (.|\n)*";
  const std::string count = rule == "none" ? "none" : "[0-9]+ x " + rule;
  GTEST_FLAG_SET(death_test_style, "fast");
  EXPECT_EXIT(MakeAndExit(GetParam()), testing::ExitedWithCode(0), report + "violations: " + count + "\n");
}

TEST(WatchLog, AsJson_HasTheRuleAndTheCalls) {
  GTEST_FLAG_SET(death_test_style, "fast");
  const auto makeAsJson = [] {
    setenv("QBFLVPLUS_WATCH_FORMAT", "json", 1);
    MakeAndExit({"wrong-state", {&BadHost::GetFileHeader}});
  };
  EXPECT_EXIT(makeAsJson(), testing::ExitedWithCode(0),
              "\\{\"violation\":\"wrong-state\",\"what\":\".*\",\"rule\":\".*\",\"calls\":\\[\\{\"call\":"
              "\"IQBFileFormatObject::GetFileHeader\\(\\)\",\"depth\":0\\}\\]\\}\n\\{\"totals\":\\{\"sessions\":1,.*"
              "\"violations\":\\{\"wrong-state\":1\\}");
}

/// A rule that is added needs a row above and a line in the guide.
TEST(WatchRules, EachHasAMistake_AndALineInTheHostGuide) {
  const std::string guide = ReadBytes(QBFLV_HOST_GUIDE);
  for (std::size_t i = 0; i < watch::kRuleCount; ++i) {
    const watch::RuleText& rule = watch::Text(static_cast<watch::Rule>(i));
    EXPECT_TRUE(std::ranges::any_of(kMistakes, [&](const Mistake& row) { return row.rule == rule.name; })) << rule.name;
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
