// One client of a server that plays a file from memory: an object of the plug-in, asked a step at a time.
#pragma once

#include <cstdint>
#include <vector>

#include "host/event_loop.h"
#include "host/file_object.h"
#include "host/plugin_library.h"
#include "host/recording_sink.h"

namespace qbflv::soak {

/// What a stream delivered: every packet's time, flags and bytes, in order.
struct Digest {
  std::uint64_t packets = 0;
  std::uint32_t checksum = 0;
  bool done = false;

  bool operator==(const Digest&) const = default;
};

class Server;

/// Used by one thread at a time.
class Client {
 public:
  using Answers = host::FileOptions::Answers;

  /// On one of the server's files. Throws HostError when no object can be made.
  Client(const Server& server, std::size_t file, Answers answers);
  Client(const Client&) = delete;
  Client& operator=(const Client&) = delete;
  /// Closes the object, whatever it is doing.
  ~Client();

  /// Opens the file and reads all headers. Each false: the object does not get that far.
  bool Open();
  bool ReadHeaders();

  std::uint16_t StreamCount() const { return static_cast<std::uint16_t>(m_streams.size()); }
  /// Whether the stream has neither been asked for a packet nor ended.
  bool IsIdle(std::uint16_t stream) const { return !m_asked[stream] && !m_streams[stream].done; }
  /// Asks for the stream's next packet, and for nothing after it.
  void Ask(std::uint16_t stream);
  void Seek(std::uint32_t time) { m_format->Seek(time); }
  /// Gives the oldest of the file's answers that wait; false when none does.
  bool Answer() { return m_loop.RunOne(); }

  bool IsDone() const;
  const std::vector<Digest>& Streams() const { return m_streams; }

 private:
  void OnSink(const host::SinkEvent& event);
  void Take(Digest& digest, IQBPacket& packet);
  void AnswerAll();

  host::EventLoop m_loop;
  ComPtr<host::FileObject> m_file;
  ComPtr<host::RecordingSink> m_sink;
  ComPtr<IQBPlugin> m_plugin;
  ComPtr<IQBFileFormatObject> m_format;
  bool m_isOpen = false;
  std::size_t m_headers = 0;
  std::vector<Digest> m_streams;
  std::vector<bool> m_asked;
};

}  // namespace qbflv::soak
