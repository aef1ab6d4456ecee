// One file played through the plug-in, from loading the library to the last packet.
#pragma once

#include <cstdint>
#include <deque>
#include <exception>
#include <filesystem>
#include <functional>
#include <optional>
#include <string>
#include <utility>
#include <vector>

#include "host/context.h"
#include "host/event_loop.h"
#include "host/file_object.h"
#include "host/plugin_info.h"
#include "host/plugin_library.h"
#include "host/property_list.h"
#include "host/recording_sink.h"

namespace qbflv::host {

struct SessionOptions {
  std::filesystem::path plugin;
  std::filesystem::path file;
  std::string url;
  /// Of the request. Texts, as the headers of a client's request are.
  NamedTexts headers;
  NamedTexts preferences;
  FileOptions fileOptions;
};

/// A stream's header, or why there is none.
struct StreamHeader {
  Status status = kOk;
  ComPtr<PropertyList> properties;
};

/// Who takes the packets. Each answers whether to go on; what it throws reaches the caller of ReadPackets.
struct PacketHandlers {
  std::function<bool(IQBPacket& packet)> onPacket;
  std::function<bool(std::uint16_t stream)> onStreamDone;
};

/// How a seek ended, and what it asked of the file until then.
struct SeekResult {
  Status status = kOk;
  FileCounts counts;
};

/// The steps are taken in the order in which they stand here, the last two as often as one likes. All throw HostError.
class Session {
 public:
  /// Loads the plug-in, opens the file and lets the plug-in open it.
  explicit Session(const SessionOptions& options);
  Session(const Session&) = delete;
  Session& operator=(const Session&) = delete;
  ~Session();

  PluginInfo Describe() const { return DescribePlugin(m_plugin.Get()); }

  /// Reads the file header and every stream's header. A stream without a header is no failure yet.
  void ReadHeaders();

  const PropertyList& FileHeader() const { return *m_fileHeader; }
  const std::vector<StreamHeader>& StreamHeaders() const { return m_streamHeaders; }

  /// Throws, with its number, if a stream has no header: without all of them there are no packets.
  void RequireStreamHeaders() const;

  /// Delivers until every stream is done, a handler has enough, or something fails. Each live stream always has a
  /// request outstanding. Goes on where an earlier call stopped. Needs all stream headers.
  void ReadPackets(PacketHandlers handlers);

  /// Whether every stream is done.
  bool DeliveryEnded() const { return m_streamsLeft == 0; }

  /// Moves delivery to a time in ms, counted from the file's first tag. Whatever comes of it, every stream is live
  /// again. Needs all stream headers.
  SeekResult Seek(std::uint32_t time);

 private:
  /// Whatever fails after it finds a whole session, which ends properly: Close breaks the circle of references between
  /// the file and the plug-in.
  explicit Session(const std::filesystem::path& plugin) : m_library(plugin) {}

  /// Makes a request of the plug-in and runs the event loop until the sink has the answer, whose status may be a
  /// failure. A request that is refused counts as answered so.
  template <typename Request>
  SinkEvent Ask(SinkEvent::Kind answer, const char* what, Request request);

  void OnEvent(const SinkEvent& event) noexcept;
  void OnDelivery(const SinkEvent& event);
  /// To the handlers.
  void Pass(const SinkEvent& event);
  void RequestPacket(std::uint16_t stream);
  bool IsPaused() const { return m_stopped || DeliveryEnded(); }
  void StartOver();
  void Close();

  // The library stands first, so that it goes after everything that may hold an object of it.
  PluginLibrary m_library;
  EventLoop m_loop;
  ComPtr<FileObject> m_file;
  ComPtr<RecordingSink> m_sink;
  ComPtr<IQBPlugin> m_plugin;
  ComPtr<IQBFileFormatObject> m_format;

  ComPtr<PropertyList> m_fileHeader;
  std::vector<StreamHeader> m_streamHeaders;

  SinkEvent::Kind m_awaited = SinkEvent::Kind::kInitDone;
  std::optional<SinkEvent> m_answer;

  PacketHandlers m_handlers;
  /// What is known of a stream's delivery.
  struct StreamState {
    bool requested = false;
    bool done = false;
  };
  std::vector<StreamState> m_streams;
  /// What was delivered after a handler had enough: requests that were open then are still answered.
  std::deque<SinkEvent> m_kept;
  std::size_t m_streamsLeft = 0;
  bool m_stopped = true;
  std::exception_ptr m_failure;
};

}  // namespace qbflv::host
