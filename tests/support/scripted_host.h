// A host for one file-format object: its objects, its requests, and the log of what the object does to it.
#pragma once

#include <cstdint>
#include <functional>
#include <optional>
#include <string>
#include <utility>
#include <vector>

#include "host/recording_sink.h"
#include "tests/support/call_log.h"
#include "tests/support/fault_plan.h"
#include "tests/support/plugin_exports.h"
#include "tests/support/scripted_file.h"
#include "tests/support/scripted_objects.h"

namespace qbflv::test {

/// The references to a host object besides the one that the test holds.
template <typename Interface>
std::uint32_t OtherReferences(Interface* object) {
  object->AddRef();
  return object->Release() - 1;
}

struct HostScript {
  FileScript file = {};
  std::string url = "http://host/clip.flv";
  /// Texts, as the headers of a client's request are.
  std::vector<std::pair<std::string, std::string>> headers = {};
  std::vector<std::pair<std::string, std::string>> preferences = {};
  Fault fault = {};
};

class ScriptedHost {
 public:
  using Listener = std::function<void(const host::SinkEvent&)>;

  explicit ScriptedHost(const HostScript& script);
  ScriptedHost(const ScriptedHost&) = delete;
  ScriptedHost& operator=(const ScriptedHost&) = delete;
  /// Releases the object and drops the operations that are still pending.
  ~ScriptedHost();

  // The requests. With a file that completes later they run until nothing is pending, except inside a sink call.
  // kInvalidState without an object.
  Status InitPlugin();
  Status InitFileFormat();
  Status GetFileHeader();
  Status GetStreamHeader(std::uint16_t stream);
  Status GetPacket(std::uint16_t stream);
  Status Seek(std::uint32_t time);
  Status Close();

  /// InitPlugin and InitFileFormat; true when the sink was told of success.
  bool Open();
  /// Open and GetFileHeader.
  bool OpenAndReadFileHeader();
  /// The same and every stream's header in the order of their numbers; true when each succeeded.
  bool ReadHeaders();
  /// The same, then AskForAll.
  void Play();
  /// Requests a packet of every stream, and again inside each PacketReady.
  void AskForAll();
  /// Everything from InitFileFormat on, each request inside the sink call that allows it. When every stream is done, a
  /// seek to thenSeek and the rest from there.
  void PlayNested(std::optional<std::uint32_t> thenSeek = {});

  /// Another file; the old one stays alive and is pumped too.
  void UseFile(FileScript script);
  void UseRequest(std::string url);

  /// Completes the pending operations until there are none.
  void Pump();
  /// Keeps the requests from pumping: the test completes by hand.
  void CompleteByHand(bool byHand = true) { m_pumps = !byHand; }
  /// Whether the host makes its next request inside each sink call, as PlayNested does.
  void ReactInside(bool reacts) { m_reacts = reacts; }

  /// Another object, when the first one was released.
  void MakePlugin();
  /// Drops the host's references to the object; the last one ends it, unless a call into it is running.
  void ReleasePlugin();
  /// Drops everything that this host holds but the object. Returns how many objects and references are left.
  int Abandon();

  /// Called inside every sink call, after it was logged and before the host's own reaction.
  void OnSinkCall(Listener listener) { m_listener = std::move(listener); }

  /// Requests that were accepted and neither completed nor superseded.
  std::size_t OpenRequests() const { return m_open.size(); }
  bool IsOpen(host::SinkEvent::Kind completion) const;
  /// Sink calls that no request asked for.
  const CallLog::Lines& Unasked() const { return m_unasked; }

  std::uint32_t StreamCount() const { return m_streamCount; }
  /// What a host that plays nested is at, such as "stream headers".
  const std::string& Phase() const { return m_phase; }
  /// A property of the file header, or of the stream header that came n-th, as Value tells it.
  std::string FileProperty(std::string_view name) const { return Value(m_fileHeader.Get(), name); }
  std::string StreamProperty(std::size_t nth, std::string_view name) const;

  FaultPlan faults;
  CallLog log;

 private:
  /// Every file that was made, so that none is left pending.
  std::vector<ComPtr<ScriptedFile>> m_files;

 public:
  ComPtr<ScriptedContext> context = host::MakeObject<ScriptedContext>(faults);
  ComPtr<ScriptedRequest> request;
  ComPtr<ScriptedFile> file;
  ComPtr<host::RecordingSink> sink;
  /// Null when the library made no object.
  ComPtr<IQBPlugin> plugin;
  ComPtr<IQBFileFormatObject> format;

 private:
  using Kind = host::SinkEvent::Kind;

  /// The sink call that completes a request, and the stream of a packet.
  struct Request {
    Kind completion = Kind::kInitDone;
    std::uint16_t stream = 0;
    std::uint32_t number = 0;
  };

  /// Makes the request, and pumps.
  template <typename Call>
  Status Ask(Kind completion, std::uint16_t stream, Call call);
  void GetPackets();
  void Completed(const host::SinkEvent& event);
  void OnSink(const host::SinkEvent& event);
  void Note(const host::SinkEvent& event);
  void React(const host::SinkEvent& event);

  bool m_pumps = true;
  /// Sink calls that are running.
  int m_depth = 0;
  std::vector<Request> m_open;
  std::uint32_t m_requests = 0;
  CallLog::Lines m_unasked;
  bool m_renews = false;
  bool m_reacts = false;
  Listener m_listener;
  Status m_initStatus = kFailed;
  std::string m_phase;
  std::optional<std::uint32_t> m_thenSeek;
  bool m_hasSought = false;
  std::uint32_t m_streamCount = 0;
  std::uint16_t m_headersRead = 0;
  std::uint32_t m_streamsDone = 0;
  ComPtr<IQBPropertyList> m_fileHeader;
  std::vector<ComPtr<IQBPropertyList>> m_streamHeaders;
};

}  // namespace qbflv::test
