#include "tests/reliability/reentry_session.h"

#include <gtest/gtest.h>

#include <functional>
#include <utility>

namespace qbflv::test {

namespace {

using Kind = host::SinkEvent::Kind;

/// The time that is sought, in ms.
constexpr std::uint32_t kSoughtTime = 1000;

/// Null for what sets and asks for values, which never calls the object.
const char* NameOf(Asked asked) {
  switch (asked) {
    case Asked::kInterface:
      return "QueryInterface";
    case Asked::kObject:
      return "CreateInstance";
    case Asked::kRequest:
      return "GetHeaders and GetURL";
    case Asked::kPreference:
      return "ReadPref";
    case Asked::kInit:
      return "Init";
    case Asked::kRead:
      return "Read";
    case Asked::kSeek:
      return "Seek";
    case Asked::kStat:
      return "Stat";
    case Asked::kHint:
      return "SetAccessHint";
    case Asked::kClose:
      return "Close";
    case Asked::kEndList:
      return "last Release of a list";
    case Asked::kEndPacket:
      return "last Release of a packet";
    default:
      return nullptr;
  }
}

/// The file of a further InitFileFormat: other times than any other.
Bytes OtherFile() {
  FlvBuilder flv(kBoth, 11);
  flv.Metadata(QuickMetadata()).Audio(50, 40).Video(50, 50).Audio(2050, 41).Video(2050, 51).Video(3050, 52);
  return flv.File();
}

HostScript ScriptOf(const Scenario& scenario, Completes completes) {
  return {.file = {.bytes = scenario.file, .completes = completes},
          .headers = {{"AcceptMetaInfo", "title,creator"}},
          .preferences = {{"FLVMergeSorterMaxTimespan", "5000"}},
          .fault = scenario.fault};
}

}  // namespace

ReentrySession::ReentrySession(const Scenario& scenario, Completes completes, int atCallback, Action action)
    : m_completes(completes), m_atCallback(atCallback), m_action(action), m_host(ScriptOf(scenario, completes)) {
  m_host.OnSinkCall([this](const host::SinkEvent& event) { OnSink(event); });
  m_host.faults.OnAsked([this](Asked asked) {
    // A release may come while an operation is due.
    if (asked != Asked::kEndList && asked != Asked::kEndPacket) m_asked = asked;
    if (const char* const name = NameOf(asked)) OnCallback(name);
  });
}

void ReentrySession::Run() { m_host.PlayNested(kSoughtTime); }

CallLog::Lines ReentrySession::StartOver() {
  const std::size_t before = m_host.log.Size();
  UseOtherFile();
  m_host.InitFileFormat();
  return m_host.log.From(before);
}

void ReentrySession::End() {
  if (std::exchange(m_hasEnded, true)) return;
  m_isClosing = true;
  if (m_host.format) {
    EXPECT_EQ(kOk, ComPtr<IQBFileFormatObject>(m_host.format)->Close());
  }
  m_host.Pump();
  m_isSeeking = m_host.IsOpen(Kind::kSeekDone);
  m_host.ReleasePlugin();
  m_host.faults.OnAsked(nullptr);
  EXPECT_EQ(0, m_host.Abandon()) << "objects and references that are left";
  EXPECT_EQ(Lines(), m_host.Unasked());
}

void ReentrySession::OnCallback(const std::string& name) {
  if (++m_callbacks != m_atCallback || m_action == Action::kNone) return;
  m_moment = (m_isClosing ? "closing" : m_host.Phase()) + ": " + name;
  m_linesBefore = m_host.log.Size();
  m_host.CompleteByHand();
  m_result = Act();
  m_host.CompleteByHand(false);
  if (m_action == Action::kInitFileFormat) m_host.ReactInside(false);
}

void ReentrySession::OnSink(const host::SinkEvent& event) {
  m_asked = Asked::kClose;
  if (event.kind == Kind::kFileHeaderReady) m_headers = 0;
  const bool isHeader = event.kind == Kind::kStreamHeaderReady && Succeeded(event.status);
  const bool isLastHeader = isHeader && ++m_headers == m_host.StreamCount();
  const std::string call = Describe(event);
  // The host that begins another file inside a call does not go on with the old one behind it.
  m_host.ReactInside(true);
  OnCallback((isLastHeader ? "last " : "") + call.substr(0, call.find(' ')) +
             (Failed(event.status) ? " (failed)" : ""));
}

Status ReentrySession::Act() {
  switch (m_action) {
    case Action::kGetPacketOfStream0:
      return m_host.GetPacket(0);
    case Action::kGetPacketOfStream1:
      return m_host.GetPacket(1);
    case Action::kGetPacketOfNoStream:
      return m_host.GetPacket(9);
    case Action::kSeek:
      return m_host.Seek(kSoughtTime);
    case Action::kClose: {
      const Status status = m_host.Close();
      m_host.context = nullptr;
      return status;
    }
    case Action::kLastRelease:
      m_host.ReleasePlugin();
      return kOk;
    case Action::kInitPlugin:
      return m_host.InitPlugin();
    case Action::kInitFileFormat:
      UseOtherFile();
      return m_host.InitFileFormat();
    case Action::kGetFileHeader:
      return m_host.GetFileHeader();
    case Action::kGetStreamHeader:
      return m_host.GetStreamHeader(0);
    case Action::kCompleteUnasked:
      return CompleteUnasked();
    case Action::kCount:
      break;
  }
  return kOk;
}

/// Every completion but the one that may be expected. They fail, so that they do not move the file's position.
Status ReentrySession::CompleteUnasked() {
  const auto response = m_host.format.Query<IQBFileResponse>();
  const auto statResponse = m_host.format.Query<IQBFileStatResponse>();
  const std::pair<Asked, std::function<Status()>> completions[] = {
      {Asked::kInit, [&] { return response->InitDone(kFailed); }},
      {Asked::kStat, [&] { return statResponse->StatDone(kFailed, 0); }},
      {Asked::kRead, [&] { return response->ReadDone(kFailed, nullptr); }},
      {Asked::kSeek, [&] { return response->SeekDone(kFailed); }}};
  for (const auto& [asked, complete] : completions) {
    if (asked == m_asked) continue;
    const Status status = complete();
    if (status != kInvalidState) return status;
  }
  return kInvalidState;
}

void ReentrySession::UseOtherFile() { m_host.UseFile({.bytes = OtherFile(), .completes = m_completes}); }

}  // namespace qbflv::test
