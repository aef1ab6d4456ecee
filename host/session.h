// Plays one file through the plug-in: loads the library, opens the file, reads headers and packets, and seeks.
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

#include "flv/format.h"
#include "flv/view.h"
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
  /// If set, the plug-in reads this view instead of the bare file. The file object then reports no size, because the
  /// plug-in would take durations from the view's closing tags. The session drops the packets of the closing tags,
  /// and all packets after a seek past the last playable tag.
  std::shared_ptr<const flv::View> view;
  std::string url;
  /// Text headers of the request.
  NamedTexts headers;
  NamedTexts preferences;
  FileOptions fileOptions;
};

/// A stream's header. properties is null when status is a failure.
struct StreamHeader {
  Status status = kOk;
  ComPtr<PropertyList> properties;
};

/// Receive the packets and the ends of streams. Both return true to continue delivery. ReadPackets rethrows their
/// exceptions.
struct PacketHandlers {
  std::function<bool(IQBPacket& packet)> onPacket;
  std::function<bool(std::uint16_t stream)> onStreamDone;
};

struct SeekResult {
  /// The requested time, in ms from the file's first tag.
  std::uint32_t time = 0;
  Status status = kOk;
  /// The file operations that the seek took.
  FileCounts counts;
  /// The position at which delivery restarts, in the bytes that the plug-in reads.
  std::uint64_t offset = 0;

  /// Returns the result itself. Throws HostError if the seek failed.
  const SeekResult& OrThrow() const;
};

/// Call ReadHeaders first, then ReadPackets and Seek any number of times. All functions throw HostError.
class Session {
 public:
  /// Loads the plug-in and opens the file with it.
  explicit Session(const SessionOptions& options);
  Session(const Session&) = delete;
  Session& operator=(const Session&) = delete;
  ~Session();

  PluginInfo Describe() const { return DescribePlugin(m_plugin.Get()); }

  /// Reads the file header and the header of every stream. Does not throw if a stream has no header.
  void ReadHeaders();

  /// Returns the tag type of each stream, from its header. Throws if a stream is neither audio nor video, or has no
  /// header.
  std::vector<flv::TagType> StreamTypes() const;

  const PropertyList& FileHeader() const { return *m_fileHeader; }
  const std::vector<StreamHeader>& StreamHeaders() const { return m_streamHeaders; }

  /// Throws if a stream has no header. The plug-in delivers packets only if all streams have one.
  void RequireStreamHeaders() const;

  /// Delivers until every stream is done, a handler stops it, or an error occurs. Keeps one request pending for each
  /// stream that is not done. Continues where an earlier call stopped. Requires all stream headers.
  void ReadPackets(PacketHandlers handlers);

  /// Returns the number of operations on the file since the session began.
  const FileCounts& Counts() const { return m_file->Counts(); }

  /// Returns true when every stream is done.
  bool DeliveryEnded() const { return m_streamsLeft == 0; }

  /// Moves delivery to a time, in ms from the file's first tag. No stream is done afterwards, even if the seek fails.
  /// Requires all stream headers.
  SeekResult Seek(std::uint32_t time);

 private:
  /// The public constructor delegates to this one, so that the destructor runs if the public one throws. Its Close
  /// breaks the reference cycle between the file object and the plug-in's object.
  explicit Session(const std::filesystem::path& plugin) : m_library(plugin) {}

  /// Makes a request and runs the event loop until the sink receives the completion, which it returns. If the plug-in
  /// refuses the request, returns a completion with the status of the refusal.
  template <typename Request>
  SinkEvent RunRequest(SinkEvent::Kind completion, const char* what, Request request);

  void OnEvent(const SinkEvent& event) noexcept;
  void OnDelivery(const SinkEvent& event);
  /// Returns true for the packet of a closing tag, which is in the view but not in the file.
  bool IsClosing(IQBPacket& packet) const;
  /// Calls the handler for the event.
  void Deliver(const SinkEvent& event);
  void RequestPacket(std::uint16_t stream);
  bool IsPaused() const { return m_stopped || DeliveryEnded(); }
  void ResetDelivery();
  void Close();

  // The library is the first member: it must outlive everything that may hold one of its objects.
  PluginLibrary m_library;
  std::shared_ptr<const flv::View> m_view;
  EventLoop m_loop;
  ComPtr<FileObject> m_file;
  ComPtr<RecordingSink> m_sink;
  ComPtr<IQBPlugin> m_plugin;
  ComPtr<IQBFileFormatObject> m_format;

  ComPtr<PropertyList> m_fileHeader;
  std::vector<StreamHeader> m_streamHeaders;

  SinkEvent::Kind m_awaited = SinkEvent::Kind::kInitDone;
  std::optional<SinkEvent> m_completion;

  PacketHandlers m_handlers;
  struct StreamState {
    bool requested = false;
    bool done = false;
  };
  std::vector<StreamState> m_streams;
  /// Events that arrived after a handler stopped delivery: the requests that were pending then still complete.
  std::deque<SinkEvent> m_undelivered;
  std::size_t m_streamsLeft = 0;
  bool m_stopped = true;
  /// The last seek went past the end of the view: no packet is passed on.
  bool m_isPastEnd = false;
  std::exception_ptr m_failure;
};

}  // namespace qbflv::host
