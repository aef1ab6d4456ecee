// Runs a whole session. The input is a script of the host's behaviour and calls, followed by the file. The first two
// bytes are the size of the script.
#include <algorithm>

#include "fuzz/target.h"
#include "tests/support/decisions.h"
#include "tests/support/scripted_host.h"

namespace qbflv::fuzz {
namespace {

/// Maximum number of file operations per byte. For one request, the bytes of the file count; for all requests together,
/// also those of the script. A file counts as kMinFileSize bytes more than it has.
constexpr std::uint64_t kMaxOperationsPerByte = 64;
constexpr std::uint64_t kMinFileSize = 64;

/// Maximum nesting of the host's calls.
constexpr int kMaxDepth = 8;
constexpr int kMaxFiles = 16;

test::HostScript ScriptOf(std::uint8_t settings) {
  test::HostScript script;
  if ((settings & 1) != 0) {
    script.preferences.emplace_back("DisableFLVThumbnailSeekModification", (settings & 2) != 0 ? "1" : "0");
  }
  if ((settings & 4) != 0) script.preferences.emplace_back("FLVMergeSorterMaxTimespan", "50");
  script.url = (settings & 8) != 0 ? "http://host/a.flv?ProcessTimeUnits=3" : "a.flv";
  if ((settings & 16) != 0) script.headers.emplace_back("AcceptMetaInfo", "*");
  return script;
}

/// A host that follows a script: how its file object completes each operation, and which calls it makes inside sink
/// calls and file operations.
class Session {
 public:
  Session(test::Decisions& script, std::size_t scriptSize, Input file)
      : m_script(script), m_scriptSize(scriptSize), m_bytes(file.begin(), file.end()), m_host(ScriptOf(script.Byte())) {
    m_host.log.Disable();
    m_host.CompleteByHand();
    m_host.OnSinkCall([this](const host::SinkEvent&) { OnSink(); });
  }

  /// Runs the script to its end.
  void FollowScript() {
    Start();
    while (!m_script.IsOver()) {
      if (!HasPending() || m_script.Choose(4) == 3) {
        CallSomething();
      } else {
        m_host.file->Complete(m_script.Choose(m_host.file->Pending()));
      }
    }
    m_host.Pump();
    m_host.Close();
    m_host.ReleasePlugin();
    Require(m_host.Abandon() == 0, "the object has released all objects of its host");
  }

 private:
  bool HasPending() const { return m_host.file->Pending() > 0; }

  void Start() {
    ++m_files;
    if (!m_host.plugin) m_host.MakePlugin();
    const bool knowsSize = m_script.Choose(4) != 1;
    m_host.UseFile({.bytes = m_bytes,
                    .stat = knowsSize ? test::Stat::kPresent : test::Stat::kAbsent,
                    .failsAtEnd = m_script.Choose(4) == 1,
                    .decide = [this](test::Asked asked, std::uint32_t count) { return Decide(asked, count); }});
    m_host.InitPlugin();
    m_host.InitFileFormat();
  }

  /// Returns how the file object completes an operation. Most script bytes select the default: success inside the call.
  test::Rule Decide(test::Asked asked, std::uint32_t count) {
    const std::uint64_t bytes = m_bytes.size() + kMinFileSize;
    Require(++m_operations <= kMaxOperationsPerByte * bytes, "a request takes bounded work");
    Require(++m_allOperations <= kMaxOperationsPerByte * (bytes + m_scriptSize), "a session takes bounded work");
    if (asked == test::Asked::kHint) return {.result = m_script.Choose(4) == 1 ? kPrefersLinearAccess : kOk};
    switch (m_script.Choose(7)) {
      case 1:
        return {.completes = test::Completes::kLater};
      case 2:
        return {.status = kFailed};
      case 3:
        return {.size = count / 2};
      case 4:
        return {.silent = true};
      case 5:
        return {.silent = true, .result = kFailed};
      case 6:
        CallSomething();
        return {};
      default:
        return {};
    }
  }

  void OnSink() {
    const std::size_t choice = m_script.Choose(4);
    if (choice == 2) CallSomething();
    m_host.ReactInside(choice != 3);
  }

  /// Makes one of the calls that a host may make at any time.
  void CallSomething() {
    if (m_depth >= kMaxDepth) return;
    ++m_depth;
    m_operations = 0;
    const ComPtr<IQBFileFormatObject> format = m_host.format;
    switch (m_script.Choose(12)) {
      case 1:
      case 2:
        m_host.GetPacket(static_cast<std::uint16_t>(m_script.Choose(3)));
        break;
      case 3:
      case 4:
        m_host.Seek(m_script.Number(2));
        break;
      case 5:
        m_host.Seek(m_script.Number(4));
        break;
      case 6:
        m_host.Close();
        break;
      case 7:
        if (m_files < kMaxFiles) Start();
        break;
      case 8:
        // `format` may then be the last reference, until this function returns.
        m_host.ReleasePlugin();
        break;
      case 9:
        m_host.GetFileHeader();
        break;
      case 10:
        m_host.GetStreamHeader(static_cast<std::uint16_t>(m_script.Choose(3)));
        break;
      case 11:
        CompleteUnrequested();
        break;
      default:
        if (HasPending()) m_host.file->Complete(m_script.Choose(m_host.file->Pending()));
        break;
    }
    --m_depth;
  }

  void CompleteUnrequested() {
    const auto response = m_host.format.Query<IQBFileResponse>();
    if (!response) return;
    const Status status = m_script.Choose(2) == 0 ? kOk : kFailed;
    switch (m_script.Choose(4)) {
      case 0:
        response->ReadDone(status, host::MakeObject<host::Buffer>().Get());
        break;
      case 1:
        response->SeekDone(status);
        break;
      case 2:
        response->InitDone(status);
        break;
      default:
        response.Query<IQBFileStatResponse>()->StatDone(status, m_script.Number(4));
        break;
    }
  }

  test::Decisions& m_script;
  const std::size_t m_scriptSize;
  const test::Bytes m_bytes;
  /// Number of file operations since the last request, and in total.
  std::uint64_t m_operations = 0;
  std::uint64_t m_allOperations = 0;
  int m_files = 0;
  int m_depth = 0;
  test::ScriptedHost m_host;
};

/// Plays the file to its end, then seeks and plays to the end again. The seek uses the index that playing has filled.
void PlayWell(Input file) {
  test::ScriptedHost host({.file = {.bytes = {file.begin(), file.end()}}});
  host.log.Disable();
  host.PlayNested(50);
  if (host.StreamCount() > 0) host.Seek(1000);
  Require(host.Unasked().empty(), "every sink call was requested");
  Require(host.file->Operations() <= 3 * kMaxOperationsPerByte * (file.size() + kMinFileSize), "it takes bounded work");
}

}  // namespace

void TrySession(Input input) {
  if (input.size() < 2) return;
  const Input bytes = input.subspan(2);
  const std::size_t scriptSize = std::min(std::size_t{input[0]} << 8U | input[1], bytes.size());
  test::Decisions script(bytes.first(scriptSize));
  Session(script, scriptSize, bytes.subspan(scriptSize)).FollowScript();
  PlayWell(bytes.subspan(scriptSize));
  Require(test::Exports().canUnload() == kOk, "no object is left");
}

}  // namespace qbflv::fuzz
