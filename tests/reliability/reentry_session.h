// A session that, inside one of its callbacks, makes one call more than a host would.
#pragma once

#include <string>

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
  kInitPlugin,
  kInitFileFormat,
  kGetFileHeader,
  kGetStreamHeader,
  kCompleteUnasked,
  kCount,
  kNone = kCount,
};

/// What is played, and what goes wrong at it.
struct Scenario {
  Bytes file;
  Fault fault = {};
};

/// A host that reacts to every call of its sink inside that call: opens, reads the headers, plays to the end, seeks and
/// plays to the end again.
class ReentrySession {
 public:
  using Lines = CallLog::Lines;

  /// atCallback: the number, counted from 1, of the callback in which it acts.
  ReentrySession(const Scenario& scenario, Completes completes, int atCallback, Action action);

  /// To the end of all that comes by itself.
  void Run();
  /// Opens another file now, and returns the log of it.
  Lines StartOver();
  /// Closes and releases, once, and requires that nothing is left.
  void End();
  bool HasEnded() const { return m_hasEnded; }

  /// Where it acted, as in "play: PacketReady"; empty if there were fewer callbacks.
  const std::string& Moment() const { return m_moment; }
  /// What the call returned.
  Status Result() const { return m_result; }
  /// The lines of the log when it acted, and those that followed.
  std::size_t LinesBefore() const { return m_linesBefore; }
  Lines After() const { return m_host.log.From(m_linesBefore); }
  /// A seek was accepted, and neither completed nor superseded.
  bool IsSeeking() const { return m_isSeeking; }

 private:
  void OnCallback(const std::string& name);
  void OnSink(const host::SinkEvent& event);
  Status Act();
  Status CompleteUnasked();
  void UseOtherFile();

  const Completes m_completes;
  const int m_atCallback;
  const Action m_action;
  ScriptedHost m_host;
  int m_callbacks = 0;
  std::size_t m_headers = 0;
  bool m_isClosing = false;
  bool m_hasEnded = false;
  std::string m_moment;
  /// What the library has asked for and may still be told of.
  Asked m_asked = Asked::kClose;
  Status m_result = kOk;
  std::size_t m_linesBefore = 0;
  bool m_isSeeking = false;
};

}  // namespace qbflv::test
