// A host that does what a script says: how it answers, and what it calls from inside the plug-in's calls.
#pragma once

#include <cstdint>
#include <deque>
#include <functional>
#include <span>
#include <vector>

#include "fuzz/decisions.h"
#include "host/com_object.h"
#include "host/recording_sink.h"
#include "host/request.h"
#include "plugin/util/com_ptr.h"

namespace qbflv::fuzz {

class SessionHost;

/// The fuzzer's file. Answers as its host's script says.
class ScriptedFile final : public host::ComObject<IQBSourceFile, IQBFileStat> {
 public:
  /// host outlives the object.
  ScriptedFile(SessionHost& host, std::span<const std::uint8_t> bytes, bool knowsSize, bool failsAtEnd)
      : m_host(host), m_bytes(bytes), m_knowsSize(knowsSize), m_failsAtEnd(failsAtEnd) {}

  Status Init(std::uint32_t flags, IQBFileResponse* response) override;
  Status Close() override;
  Status Read(std::uint32_t count) override;
  Status Seek(std::uint32_t offset, BOOL relative) override;
  Status SetAccessHint(std::uint32_t hint) override;
  Status Stat(IQBFileStatResponse* response) override;

  /// Drops the reference that the plug-in's object is kept with.
  void Disconnect() { m_response = nullptr; }

 protected:
  void* FindInterface(const GUID& id) override;

 private:
  SessionHost& m_host;
  const std::span<const std::uint8_t> m_bytes;
  const bool m_knowsSize;
  const bool m_failsAtEnd;
  std::uint32_t m_position = 0;
  ComPtr<IQBFileResponse> m_response;
};

class SessionHost {
 public:
  SessionHost(std::span<const std::uint8_t> script, std::span<const std::uint8_t> file);
  SessionHost(const SessionHost&) = delete;
  SessionHost& operator=(const SessionHost&) = delete;
  /// Closes what is open and requires that the plug-in keeps nothing of this host.
  ~SessionHost();

  /// Does what the script says until it is over.
  void FollowScript();
  /// Plays the file as a good host does: to its end, from its middle to the end again, and closes.
  void PlayWell();

  // For the file.
  using Answer = std::function<void()>;
  /// Gives an answer: with that status, and, of what has a size, cut in half.
  using Completion = std::function<void(Status status, bool cut)>;
  /// Asks the script how the operation is answered: that is what it returns at once.
  Status Settle(const Completion& answer);
  Decisions& Script() { return m_script; }

 private:
  void Start();
  void OnSink(const host::SinkEvent& event);
  void Advance(const host::SinkEvent& event);
  /// One call that a host may make at any moment.
  void CallSomething();
  void AnswerOne(std::size_t which);
  void AnswerAll();
  void CompleteUnasked();
  void Begin();
  bool IsOpen() const { return static_cast<bool>(m_format); }

  Decisions m_script;
  const std::size_t m_scriptSize;
  const std::span<const std::uint8_t> m_fileBytes;
  bool m_behavesWell = false;
  /// On the file, since the last request.
  std::uint64_t m_operations = 0;
  /// The same in all.
  std::uint64_t m_allOperations = 0;
  std::uint32_t m_streamCount = 0;
  std::uint32_t m_headers = 0;
  int m_depth = 0;
  std::deque<Answer> m_waiting;

  ComPtr<IUnknown> m_context;
  ComPtr<host::Request> m_request;
  ComPtr<host::RecordingSink> m_sink;
  std::vector<ComPtr<ScriptedFile>> m_files;
  ComPtr<IQBPlugin> m_plugin;
  ComPtr<IQBFileFormatObject> m_format;
};

}  // namespace qbflv::fuzz
