// One object of the plug-in on one open file, asked a step at a time: what a server keeps for each of its clients.
#pragma once

#include <cstdint>

#include "host/event_loop.h"
#include "host/file_object.h"
#include "host/plugin_library.h"

namespace qbflv::host {

/// Used by one thread at a time. What is delivered goes to the operations that a derived class overrides; each is
/// called from inside the plug-in, must not throw, and may ask on.
class Client {
 public:
  /// context: of the whole server, with an object factory. Throws HostError when no object can be made.
  Client(const PluginLibrary& library, IUnknown* context, BlockReader file, FileOptions::Answers answers);
  Client(const Client&) = delete;
  Client& operator=(const Client&) = delete;
  /// Closes the object, whatever it is doing.
  virtual ~Client();

  /// Opens the file, and reads all headers. Each runs the answers that wait, and is false when the object does not get
  /// that far.
  bool Open();
  bool ReadHeaders();
  std::uint16_t StreamCount() const { return m_streamCount; }

  Status GetPacket(std::uint16_t stream) { return m_format->GetPacket(stream); }
  Status Seek(std::uint32_t time) { return m_format->Seek(time); }
  /// Gives the oldest of the file's answers that wait; false when none does.
  bool Answer() { return m_loop.RunOne(); }

 protected:
  virtual void OnPacket(std::uint16_t stream, IQBPacket& packet) = 0;
  virtual void OnStreamDone(std::uint16_t stream) = 0;
  virtual void OnSeekDone(Status /*status*/) {}

 private:
  class Sink;

  void AnswerAll();

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
