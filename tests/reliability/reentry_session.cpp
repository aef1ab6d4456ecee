#include "tests/reliability/reentry_session.h"

#include <gtest/gtest.h>

namespace qbflv::test {

namespace {

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
    default:
      return nullptr;  // buffers, packets and lists never call the object
  }
}

const char* NameOf(host::SinkEvent::Kind kind) {
  using Kind = host::SinkEvent::Kind;
  switch (kind) {
    case Kind::kInitDone:
      return "InitDone";
    case Kind::kFileHeaderReady:
      return "FileHeaderReady";
    case Kind::kStreamHeaderReady:
      return "StreamHeaderReady";
    case Kind::kPacketReady:
      return "PacketReady";
    case Kind::kStreamDone:
      return "StreamDone";
    default:
      return "SeekDone";
  }
}

/// The file of a further InitFileFormat: other times than any other.
Bytes OtherFile() {
  FlvBuilder flv(kBoth, 11);
  flv.Metadata(QuickMetadata()).Audio(50, 40).Video(50, 50).Audio(2050, 41).Video(2050, 51).Video(3050, 52);
  return flv.File();
}

}  // namespace

ReentrySession::ReentrySession(const Scenario& scenario, bool answersInline, int atCallback, Action action)
    : m_plan({Asked::kRead}, Failing::kAnswersFailure, scenario.failingRead),
      m_answersInline(answersInline),
      m_atCallback(atCallback),
      m_action(action),
      m_context(MakeFaultyContext(m_plan)),
      m_request(MakeFaultyRequest(m_plan)),
      m_sink(host::MakeObject<host::RecordingSink>([this](const host::SinkEvent& event) { OnSink(event); })),
      m_plugin(Library().CreateInstance()),
      m_format(m_plugin.Query<IQBFileFormatObject>()) {
  m_files.push_back(host::MakeObject<FaultyFile>(m_plan, scenario.file, answersInline));
  m_plan.OnAsked([this](Asked asked) {
    m_asked = asked;
    if (const char* const name = NameOf(asked)) OnCallback(name);
  });
}

void ReentrySession::Run() {
  m_plugin->InitPlugin(m_context.Get());
  Begin(m_files.front());
  Pump();
}

CallLog::Lines ReentrySession::StartOver() {
  const std::size_t before = m_plan.log.Size();
  m_files.push_back(host::MakeObject<FaultyFile>(m_plan, OtherFile(), m_answersInline));
  Begin(m_files.back());
  Pump();
  return m_plan.log.From(before);
}

CallLog::Lines ReentrySession::Before() const {
  const CallLog::Lines all = m_plan.log.All();
  return {all.begin(), all.begin() + static_cast<std::ptrdiff_t>(m_logBefore)};
}

CallLog::Lines ReentrySession::After() const { return m_plan.log.From(m_logBefore); }

void ReentrySession::End() {
  if (!m_context) return;
  m_phase = "closing";
  if (m_format) {
    EXPECT_EQ(kOk, ComPtr<IQBFileFormatObject>(m_format)->Close());
  }
  Pump();
  m_format = nullptr;
  m_plugin = nullptr;
  for (const ComPtr<FaultyFile>& file : m_files) {
    file->DropAnswers();
    EXPECT_EQ(0U, OtherReferences(file.Get()));
  }
  EXPECT_EQ(0U, OtherReferences(m_sink.Get()));
  EXPECT_EQ(0U, OtherReferences(m_request.Get()));
  EXPECT_EQ(0U, OtherReferences(m_context.Get()));
  m_context = nullptr;
  m_request = nullptr;
  EXPECT_EQ(0, m_plan.objects);
}

bool ReentrySession::OnCallback(const std::string& name) {
  if (++m_callbacks != m_atCallback || m_action == Action::kNone) return false;
  m_moment = m_phase + ": " + name;
  m_logBefore = m_plan.log.Size();
  m_result = Act();
  return true;
}

void ReentrySession::OnSink(const host::SinkEvent& event) {
  m_asked = Asked::kClose;
  m_plan.log.Add(Describe(event));
  if (event.kind == Kind::kSeekDone) {
    EXPECT_TRUE(m_isSeeking) << "a SeekDone too many";
    m_isSeeking = false;
    m_done = 0;
  }
  if (event.kind == Kind::kFileHeaderReady && event.header) {
    static_cast<void>(event.header->GetULONG32("StreamCount", &m_streamCount));
  }
  const bool isLastHeader = event.kind == Kind::kStreamHeaderReady && m_headers + 1 == m_streamCount;
  const bool hasActed = OnCallback((isLastHeader ? "last " : "") + std::string(NameOf(event.kind)) +
                                   (Failed(event.status) ? " (failed)" : ""));
  const bool hasStartedOver = hasActed && m_action == Action::kInitFileFormat;
  if (m_format && Succeeded(event.status) && !hasStartedOver) React(event);
}

void ReentrySession::React(const host::SinkEvent& event) {
  switch (event.kind) {
    case Kind::kInitDone:
      m_phase = "file header";
      m_format->GetFileHeader();
      return;
    case Kind::kFileHeaderReady:
      m_phase = "stream headers";
      m_headers = 0;
      m_format->GetStreamHeader(0);
      return;
    case Kind::kStreamHeaderReady:
      // One that was asked for twice leaves none to be had.
      if (++m_headers < m_streamCount && m_format->GetStreamHeader(static_cast<std::uint16_t>(m_headers)) == kOk)
        return;
      if (m_phase == "play") return;
      m_phase = "play";
      return AskForAll();
    case Kind::kSeekDone:
      m_phase = "play on";
      return AskForAll();
    case Kind::kPacketReady:
      m_format->GetPacket(event.stream);
      return;
    case Kind::kStreamDone:
      if (++m_done < m_streamCount || m_hasSought) return;
      m_phase = "seek";
      m_hasSought = true;
      static_cast<void>(Seek());
      return;
  }
}

void ReentrySession::AskForAll() {
  for (std::uint16_t stream = 0; stream < m_streamCount && m_format; ++stream) m_format->GetPacket(stream);
}

Status ReentrySession::Act() {
  // Through the only references that there are, so that the last Release may come inside.
  IQBFileFormatObject* const format = m_format.Get();
  if (format == nullptr) return kOk;
  switch (m_action) {
    case Action::kGetPacketOfStream0:
      return format->GetPacket(0);
    case Action::kGetPacketOfStream1:
      return format->GetPacket(1);
    case Action::kGetPacketOfNoStream:
      return format->GetPacket(9);
    case Action::kSeek:
      return Seek();
    case Action::kClose:
      m_isSeeking = false;
      return format->Close();
    case Action::kLastRelease:
      m_isSeeking = false;
      m_format = nullptr;
      m_plugin = nullptr;
      return kOk;
    case Action::kInitFileFormat:
      m_files.push_back(host::MakeObject<FaultyFile>(m_plan, OtherFile(), m_answersInline));
      return Begin(m_files.back());
    case Action::kGetFileHeader:
      return format->GetFileHeader();
    case Action::kGetStreamHeader:
      return format->GetStreamHeader(0);
    case Action::kAnswerUnasked:
      return AnswerUnasked();
    case Action::kCount:
      break;
  }
  return kOk;
}

Status ReentrySession::Seek() {
  const bool wasSeeking = m_isSeeking;
  m_isSeeking = true;
  const Status status = ComPtr<IQBFileFormatObject>(m_format)->Seek(kSoughtTime);
  if (Failed(status)) m_isSeeking = wasSeeking;
  return status;
}

/// Every completion but the one that may be expected. They fail, so that they do not move the file's position.
Status ReentrySession::AnswerUnasked() {
  const auto response = m_format.Query<IQBFileResponse>();
  const auto statResponse = m_format.Query<IQBFileStatResponse>();
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

/// Another session, as far as this host is concerned.
Status ReentrySession::Begin(const ComPtr<FaultyFile>& file) {
  m_phase = "opening";
  m_headers = 0;
  m_done = 0;
  m_hasSought = false;
  m_isSeeking = false;
  return m_format ? m_format->InitFileFormat(m_request.Get(), m_sink.Get(), file.Get()) : kInvalidState;
}

void ReentrySession::Pump() {
  for (bool answered = true; answered;) {
    answered = false;
    // A copy: the answer may bring another file.
    for (const ComPtr<FaultyFile>& file : std::vector(m_files)) answered = file->Answer() || answered;
  }
}

}  // namespace qbflv::test
