// A session that, inside one of its callbacks, makes one call more than a host would.
#pragma once

#include <map>
#include <string>
#include <vector>

#include "tests/reliability/faulty_host.h"
#include "tests/support/scripted_host.h"

namespace qbflv::test {

/// What a host may call inside a callback.
enum class Action {
  kGetPacketOfStream0,
  kGetPacketOfStream1,
  kGetPacketOfNoStream,
  kSeek,
  kClose,
  kLastRelease,
  kInitFileFormat,
  kGetFileHeader,
  kGetStreamHeader,
  kAnswerUnasked,
  kCount,
  kNone = kCount,
};

/// The time that is sought, in ms.
inline constexpr std::uint32_t kSoughtTime = 1000;

/// What is played, and what goes wrong at it.
struct Scenario {
  Bytes file;
  /// The read that fails, counted from 1; 0 for none.
  int failingRead = 0;
};

/// A host that reacts to every call of its sink inside that call: opens, reads the headers, plays to the end, seeks and
/// plays to the end again.
class ReentrySession {
 public:
  /// atCallback: the number, counted from 1, of the callback in which it acts.
  ReentrySession(const Scenario& scenario, bool answersInline, int atCallback, Action action);
  ReentrySession(const ReentrySession&) = delete;
  ReentrySession& operator=(const ReentrySession&) = delete;

  /// To the end of all that comes by itself, and then Close and Release.
  void Run();
  /// What comes of InitFileFormat on another file now.
  CallLog::Lines StartOver();

  /// Where it acted, as in "play: PacketReady"; empty if there were fewer callbacks.
  const std::string& Moment() const { return m_moment; }
  Status Result() const { return m_result; }
  /// The file's operations and the sink's calls, before and after it acted.
  CallLog::Lines Before() const;
  CallLog::Lines After() const;
  /// Seeks that were accepted, and neither answered nor overtaken by another.
  bool IsSeeking() const { return m_isSeeking; }
  bool IsOpen() const { return static_cast<bool>(m_format); }

  /// Closes and releases, once, and requires that nothing is left.
  void End();

 private:
  using Kind = host::SinkEvent::Kind;

  /// Whether this is the callback in which it acts, and has.
  bool OnCallback(const std::string& name);
  void OnSink(const host::SinkEvent& event);
  void React(const host::SinkEvent& event);
  void AskForAll();
  Status Act();
  Status Seek();
  Status AnswerUnasked();
  Status Begin(const ComPtr<FaultyFile>& file);
  void Pump();

  FaultPlan m_plan;
  const bool m_answersInline;
  const int m_atCallback;
  const Action m_action;
  ComPtr<IUnknown> m_context;
  ComPtr<IQBRequest> m_request;
  std::vector<ComPtr<FaultyFile>> m_files;
  ComPtr<host::RecordingSink> m_sink;
  ComPtr<IQBPlugin> m_plugin;
  ComPtr<IQBFileFormatObject> m_format;

  int m_callbacks = 0;
  std::string m_phase = "opening";
  std::string m_moment;
  Asked m_asked = Asked::kClose;
  Status m_result = kOk;
  std::size_t m_logBefore = 0;
  std::uint32_t m_streamCount = 0;
  std::uint32_t m_headers = 0;
  std::uint32_t m_done = 0;
  bool m_hasSought = false;
  bool m_isSeeking = false;
};

}  // namespace qbflv::test
