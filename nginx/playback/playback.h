// One viewer's way through a film: the tags of it that the plug-in delivers, one after the other.
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
#include "nginx/playback/part.h"
#include "nginx/playback/stream_file.h"
#include "nginx/playback/task_runner.h"

namespace qbflv::server {

/// Times are those of the film.
struct MediaTag {
  flv::TagType type = flv::TagType::kAudio;
  std::uint32_t time = 0;
  /// Never empty.
  ComPtr<IQBBuffer> body;
};

/// Used by one thread, which a server's events drive. Each Seek makes a new object of the plug-in, which reads the film
/// from the key frame on, behind the codec configurations that hold there: nothing is searched, and what the old object
/// still waits for does not matter. Members throw std::bad_alloc or HostError; then the viewer is to be sent away.
class Playback {
 public:
  enum class Result { kTag, kPending, kEnd, kFailed };

  /// engine, tasks: outlive this. onReady: called when something that returned kPending may be asked again; it may
  /// destroy this object, and must not throw.
  Playback(Engine& engine, TaskRunner& tasks, std::shared_ptr<const flv::FileSource> file,
           std::function<void()> onReady);
  Playback(const Playback&) = delete;
  Playback& operator=(const Playback&) = delete;
  ~Playback();

  /// Goes to the last key frame at or before the time; without key frames, to the frame. Allowed at any time.
  void Seek(std::uint32_t time);
  /// Ends in front of the first frame at this time or after it. Holds until it is set anew.
  void EndAt(std::optional<std::uint32_t> time) { m_end = time; }

  /// Where Seek led to; null while that is not known yet (then onReady is called).
  const Part* GetPart();

  /// The next tag: first the codec configurations, then the frames from the part's start on. kFailed also if the file
  /// has become shorter since the pass.
  Result Next(MediaTag& tag);

  /// Of a playable part; null if it cannot be read.
  const std::shared_ptr<FilmBytes>& Film() const { return m_film; }

  /// What the plug-in says about the film, from the first result of Next on that is not kPending.
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
  /// Changes with each Seek and with the end of this object, so that tasks know whether they still matter.
  std::shared_ptr<int> m_seek;
  Part m_part;
  std::shared_ptr<FilmBytes> m_film;
  /// Whether something returned kPending, and onReady has not been called since.
  bool m_isAwaited = false;

  ComPtr<StreamFile> m_file;
  ComPtr<Sink> m_sink;
  ComPtr<IQBPlugin> m_plugin;
  ComPtr<IQBFileFormatObject> m_format;
  ComPtr<host::PropertyList> m_fileHeader;
  std::vector<ComPtr<host::PropertyList>> m_streamHeaders;
  std::vector<Stream> m_streams;
  /// Delivered, and not yet taken.
  std::deque<ComPtr<IQBPacket>> m_packets;
  std::uint32_t m_lastTime = 0;
  /// Whether a closing tag has come: the file has been there to its end.
  bool m_isComplete = false;
  /// Codec configurations to come that the viewer has.
  std::uint32_t m_repeated = 0;
};

}  // namespace qbflv::server
