// One object of the plug-in on one open file, as a server has for each client.
#pragma once

#include <cstdint>

#include "host/event_loop.h"
#include "host/file_object.h"
#include "host/plugin_library.h"

namespace qbflv::host {

/// Not thread-safe. A derived class overrides the functions that receive packets. The plug-in calls them; they must not
/// throw and may make further requests.
class Client {
 public:
  /// context: shared by all clients of a server; provides an object factory. Throws HostError.
  Client(const PluginLibrary& library, IUnknown* context, BlockReader file, const FileOptions& options);
  Client(const Client&) = delete;
  Client& operator=(const Client&) = delete;
  /// Closes the object. Valid in any state.
  virtual ~Client();

  /// Opens the file and runs the pending completions. Returns false on failure.
  bool Open();
  /// Reads all headers and runs the pending completions. Returns false on failure.
  bool ReadHeaders();
  std::uint16_t StreamCount() const { return m_streamCount; }

  Status GetPacket(std::uint16_t stream) { return m_format->GetPacket(stream); }
  Status Seek(std::uint32_t time) { return m_format->Seek(time); }
  /// Runs the oldest pending completion of the file. Returns false when there is none.
  bool RunCompletion() { return m_loop.RunOne(); }

 protected:
  virtual void OnPacket(std::uint16_t stream, IQBPacket& packet) = 0;
  virtual void OnStreamDone(std::uint16_t stream) = 0;
  virtual void OnSeekDone(Status /*status*/) {}

 private:
  class Sink;

  void RunCompletions();

  EventLoop m_loop;
  ComPtr<FileObject> m_file;
  ComPtr<Sink> m_sink;
  ComPtr<IQBPlugin> m_plugin;
  ComPtr<IQBFileFormatObject> m_format;
  bool m_isOpen = false;
  std::uint16_t m_streamCount = 0;
  std::uint16_t m_headersRead = 0;
};

}  // namespace qbflv::host
