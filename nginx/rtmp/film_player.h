// One RTMP client that watches a film.
#pragma once

#include <memory>
#include <optional>
#include <span>

#include "nginx/common/pool_tasks.h"
#include "nginx/playback/playback.h"
#include "nginx/rtmp/rtmp_headers.h"

namespace qbflv::server {

/// Times are in ms of the film. The functions throw nothing but what Playback throws.
class FilmPlayer {
 public:
  /// end: where the film is cut off.
  FilmPlayer(ngx_rtmp_session_t* s, Engine& engine, std::shared_ptr<const flv::FileSource> file,
             std::optional<std::uint32_t> end);
  FilmPlayer(const FilmPlayer&) = delete;
  FilmPlayer& operator=(const FilmPlayer&) = delete;
  ~FilmPlayer();

  /// Goes to the last key frame at or before the time.
  void Seek(std::uint32_t time);
  /// Lets the clock go on, or stops it for a pause. What was sent before a pause is not sent again.
  void Start();
  void Stop();

  /// Sends what is due; does not throw. Returns a delay in ms until more is, NGX_OK to be called again soon, NGX_AGAIN
  /// to be called when the queue is empty, and NGX_DONE once at the end of the film. time: of the last tag, at the end.
  ngx_int_t Send(ngx_uint_t& time);

 private:
  ngx_int_t SendSome();
  ngx_int_t SendMetadata();
  ngx_int_t SendTag(const MediaTag& tag);
  ngx_int_t SendMessage(ngx_rtmp_header_t& header, ngx_rtmp_header_t* last, std::span<const std::uint8_t> bytes);
  bool SendKept();
  void DropKept();
  ngx_int_t Fail(const char* reason);
  ngx_int_t TimeUntilDue(std::uint32_t time);
  void OnReady();

  ngx_rtmp_session_t* const m_session;
  PoolTasks m_tasks;
  Playback m_playback;
  /// A message for which the queue had no room.
  ngx_chain_t* m_kept = nullptr;
  /// A tag that is not due yet.
  std::optional<MediaTag> m_early;
  /// The headers of the last audio and video message; from them on, times are told as differences.
  std::optional<ngx_rtmp_header_t> m_lastAudio;
  std::optional<ngx_rtmp_header_t> m_lastVideo;
  /// Clients that "play" from a start time expect timestamps from 0 on; after a seek, those of the film.
  bool m_isFirstPart = true;
  std::uint32_t m_base = 0;
  bool m_hasMetadata = false;
  bool m_hasEnded = false;
  bool m_isRunning = false;
  /// The film's time when the clock began; then when it was started last, and how long it ran before.
  std::optional<std::uint32_t> m_clockStart;
  ngx_msec_t m_startedAt = 0;
  ngx_msec_t m_elapsed = 0;
  std::uint32_t m_lastTime = 0;
};

}  // namespace qbflv::server
