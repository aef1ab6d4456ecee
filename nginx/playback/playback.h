// Playback of a film for one viewer: returns the tags that the plug-in delivers.
#pragma once

#include <cstdint>
#include <deque>
#include <functional>
#include <memory>
#include <optional>
#include <vector>

#include "flv/format.h"
#include "host/property_list.h"
#include "nginx/playback/engine.h"
#include "nginx/playback/film_passes.h"
#include "nginx/playback/part.h"
#include "nginx/playback/stream_file.h"
#include "nginx/playback/task_runner.h"

namespace qbflv::server {

struct MediaTag {
  flv::TagType type = flv::TagType::kAudio;
  /// In ms of the film.
  std::uint32_t time = 0;
  /// Never empty.
  ComPtr<IQBBuffer> body;
};

/// Each Seek creates a new object of the plug-in, which reads a view that begins with the codec configurations and the
/// key frame. So the plug-in scans nothing, and pending reads of the old object can be ignored. The functions may throw
/// std::bad_alloc or HostError; then disconnect the viewer. Not thread-safe; meant for an event loop.
class Playback {
 public:
  enum class Result { kTag, kPending, kEnd, kFailed };

  /// engine, tasks: must outlive this object. onReady: called once after Next returned kPending or GetPart returned
  /// null, when the caller should call again. It may destroy this object, and must not throw.
  Playback(Engine& engine, TaskRunner& tasks, std::shared_ptr<const flv::FileSource> file,
           std::function<void()> onReady);
  Playback(const Playback&) = delete;
  Playback& operator=(const Playback&) = delete;
  ~Playback();

  /// Continues at the last key frame at or before the time, or at the last frame if the film has no key frames. May be
  /// called in any state.
  void Seek(std::uint32_t time);
  /// Ends the playback before the first frame at or after the time. Seek does not reset the time.
  void EndAt(std::optional<std::uint32_t> time) { m_end = time; }

  /// Returns the part that Seek found; null while it is pending.
  const Part* GetPart();

  /// Gets the next tag: first the codec configurations, then the frames from the start of the part. Returns kFailed
  /// also if the file was truncated after the pass.
  Result Next(MediaTag& tag);

  /// Returns the bytes of the film; null if it cannot be mapped. REQUIRES: the part is playable.
  const std::shared_ptr<FilmBytes>& Film() const { return m_film; }

  /// The plug-in's headers. Valid after the first result of Next other than kPending.
  const host::PropertyList* FileHeader() const { return m_fileHeader.Get(); }
  const std::vector<ComPtr<host::PropertyList>>& StreamHeaders() const { return m_streamHeaders; }

 private:
  class Sink;
  enum class State { kLoading, kLoaded, kOpening, kDelivering, kEnded, kFailed };
  struct Stream {
    flv::TagType type = flv::TagType::kAudio;
    bool isRequested = false;
    bool isDone = false;
  };

  bool FindKnownPart(std::uint32_t time);
  void Load(std::uint32_t time, std::shared_ptr<FilmPass> pass);
  template <typename Step>
  void FinishTask(Step step);
  void TakePart(Part part);
  void Open();
  void Close();
  void RequestHeaders(IQBPropertyList* fileHeader);
  void TakeStreamHeader(IQBPropertyList* header);
  bool RequestPackets();
  void EndLayout();
  bool TakePacket(IQBPacket& packet, MediaTag& tag);
  Result Wait();
  void OnProgress();

  Engine& m_engine;
  TaskRunner& m_tasks;
  const std::shared_ptr<const flv::FileSource> m_source;
  const std::function<void()> m_onReady;
  std::optional<std::uint32_t> m_end;

  State m_state = State::kFailed;
  /// Identifies the current Seek. A task keeps a weak pointer to it, which expires when another Seek supersedes the
  /// task or this object is destroyed.
  std::shared_ptr<int> m_seek;
  /// The pass that this viewer waits for; otherwise null.
  std::shared_ptr<FilmPass> m_pass;
  Part m_part;
  std::shared_ptr<FilmBytes> m_film;
  /// True if the caller waits for onReady.
  bool m_isAwaited = false;

  ComPtr<StreamFile> m_file;
  ComPtr<Sink> m_sink;
  ComPtr<IQBPlugin> m_plugin;
  ComPtr<IQBFileFormatObject> m_format;
  ComPtr<host::PropertyList> m_fileHeader;
  std::vector<ComPtr<host::PropertyList>> m_streamHeaders;
  std::vector<Stream> m_streams;
  /// Packets that the plug-in has delivered and Next has not returned yet.
  std::deque<ComPtr<IQBPacket>> m_packets;
  std::uint32_t m_lastTime = 0;
  /// True after a closing tag: the plug-in has read the whole view.
  bool m_isComplete = false;
  /// Number of codec configurations to skip, because the viewer already has them.
  std::uint32_t m_repeated = 0;
};

}  // namespace qbflv::server
