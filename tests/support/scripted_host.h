// A host for one file-format object: its objects, the order of its requests, and the log of what came of them.
#pragma once

#include <cstdint>
#include <functional>
#include <map>
#include <string>
#include <utility>
#include <vector>

#include "host/context.h"
#include "host/plugin_library.h"
#include "host/recording_sink.h"
#include "tests/support/call_log.h"
#include "tests/support/scripted_context.h"
#include "tests/support/scripted_file.h"

namespace qbflv::test {

/// The library under test; loaded once for the whole program.
const host::PluginLibrary& Library();

/// Its exports as they are, for what PluginLibrary makes comfortable.
struct LibraryExports {
  CreateInstanceFunction createInstance = nullptr;
  CanUnloadFunction canUnload = nullptr;
};

const LibraryExports& Exports();

/// The references to a host object besides the one that the test holds.
template <typename Interface>
std::uint32_t OtherReferences(Interface* object) {
  object->AddRef();
  return object->Release() - 1;
}

struct HostScript {
  FileScript file;
  std::string url = "http://host/clip.flv";
  /// Texts, as the headers of a client's request are.
  std::vector<std::pair<std::string, std::string>> headers = {};
  std::vector<std::pair<std::string, std::string>> preferences = {};
};

class ScriptedHost {
 public:
  using Listener = std::function<void(const host::SinkEvent&)>;

  explicit ScriptedHost(const HostScript& script);
  ScriptedHost(const ScriptedHost&) = delete;
  ScriptedHost& operator=(const ScriptedHost&) = delete;
  /// Releases the object and drops the answers that still wait.
  ~ScriptedHost();

  // The requests. With a file that answers later they run until nothing is left to answer.
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
  /// The same and a request on every stream, renewed inside each PacketReady.
  void Play();
  /// Everything from InitFileFormat on, each request made inside the sink call that allows it.
  void PlayNested();

  /// InitFileFormat on what `file` is now, without pumping: for use inside sink calls.
  Status StartOver() { return format->InitFileFormat(request.Get(), sink.Get(), file.Get()); }
  /// Another file for `file`; the old one stays alive and is pumped too.
  ComPtr<ScriptedFile> MakeFile(FileScript script);
  /// The references to `file` besides those of this host.
  std::uint32_t FileReferences() const { return OtherReferences(file.Get()) - 1; }

  /// Gives the waiting answers until there are none.
  void Pump();
  /// Keeps the requests from pumping: the test answers by hand.
  void AnswerByHand() { m_pumps = false; }
  /// Requests a packet again inside each PacketReady.
  void RenewRequests() { m_renews = true; }

  /// Drops the host's references to the object; the last one ends it, unless a call into it is running.
  void ReleasePlugin();

  /// Called inside every sink call, after it was logged and before the host's own reaction.
  void OnSinkCall(Listener listener) { m_listener = std::move(listener); }

  std::uint32_t StreamCount() const { return m_streamCount; }
  /// A property of the file header, or of the stream header that came n-th, as Value tells it.
  std::string FileProperty(std::string_view name) const { return Value(m_fileHeader.Get(), name); }
  std::string StreamProperty(std::size_t nth, std::string_view name) const;

 private:
  /// Every file that was made, so that none is left waiting.
  std::vector<ComPtr<ScriptedFile>> m_files;

 public:
  CallLog log;
  ComPtr<ScriptedFactory> factory = host::MakeObject<ScriptedFactory>();
  ComPtr<ScriptedPreferences> preferences = host::MakeObject<ScriptedPreferences>();
  ComPtr<host::Context> context;
  ComPtr<ScriptedRequest> request;
  ComPtr<ScriptedFile> file;
  ComPtr<host::RecordingSink> sink;
  ComPtr<IQBPlugin> plugin;
  ComPtr<IQBFileFormatObject> format;

 private:
  Status Pumped(Status status);
  void OnSink(const host::SinkEvent& event);
  void ReactNested(const host::SinkEvent& event);

  bool m_pumps = true;
  bool m_renews = false;
  bool m_nested = false;
  Listener m_listener;
  Status m_initStatus = kFailed;
  std::uint32_t m_streamCount = 0;
  std::size_t m_headersRead = 0;
  ComPtr<IQBPropertyList> m_fileHeader;
  std::vector<ComPtr<IQBPropertyList>> m_streamHeaders;
};

}  // namespace qbflv::test
