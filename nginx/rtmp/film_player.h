// Sends a film to an RTMP client.
#pragma once

#include <memory>
#include <optional>
#include <span>

#include "nginx/common/pool_tasks.h"
#include "nginx/playback/playback.h"
#include "nginx/rtmp/rtmp_headers.h"

namespace qbflv::server {

/// Times are in ms of the film. The functions may throw the exceptions of Playback.
class FilmPlayer {
 public:
  /// end: playback ends before the first frame at or after this time. queuedBytes: see SessionState; must outlive this
  /// object.
  FilmPlayer(ngx_rtmp_session_t* s, Engine& engine, std::shared_ptr<const flv::FileSource> file,
             std::optional<std::uint32_t> end, std::size_t& queuedBytes);
  FilmPlayer(const FilmPlayer&) = delete;
  FilmPlayer& operator=(const FilmPlayer&) = delete;
  ~FilmPlayer();

  /// Continues at the last key frame at or before the time.
  void Seek(std::uint32_t time);
  /// Start and stop the clock. Tags that were sent before a pause are not sent again.
  void Start();
  void Stop();

  /// Sends the tags that are due. Does not throw. Returns the delay in ms until the next call, NGX_OK to be called
  /// soon, NGX_AGAIN to be called when the queue is empty, or NGX_DONE, once, at the end of the film. Sets time to the
  /// time of the last tag.
  ngx_int_t Send(ngx_uint_t& time);

 private:
  ngx_int_t SendSome();
  ngx_int_t SendMetadata();
  ngx_int_t SendTag(const MediaTag& tag);
  ngx_int_t SendMessage(ngx_rtmp_header_t& header, ngx_rtmp_header_t* last, std::span<const std::uint8_t> bytes);
  bool SendKept();
  bool HasManyBytes() const;
  void DiscardKept();
  ngx_int_t Fail(const char* reason);
  ngx_int_t TimeUntilDue(std::uint32_t time);
  void OnReady();

  ngx_rtmp_session_t* const m_session;
  PoolTasks m_tasks;
  Playback m_playback;
  std::size_t& m_queuedBytes;
  /// A message that did not fit into the queue, and the size of its body.
  ngx_chain_t* m_kept = nullptr;
  std::size_t m_keptBytes = 0;
  /// A tag that is not due yet.
  std::optional<MediaTag> m_early;
  /// The headers of the last audio and video message. The timestamps of the next messages are relative to them.
  std::optional<ngx_rtmp_header_t> m_lastAudio;
  std::optional<ngx_rtmp_header_t> m_lastVideo;
  /// True until a seek. The timestamps of the first part begin at 0, as clients expect; those of later parts are times
  /// of the film.
  bool m_isFirstPart = true;
  /// Subtracted from times of the film.
  std::uint32_t m_base = 0;
  bool m_hasMetadata = false;
  bool m_hasEnded = false;
  bool m_isRunning = false;
  /// The clock: the time of the first tag, when the clock was last started, and how long it ran before that.
  std::optional<std::uint32_t> m_clockStart;
  ngx_msec_t m_startedAt = 0;
  ngx_msec_t m_elapsed = 0;
  std::uint32_t m_lastTime = 0;
};

}  // namespace qbflv::server
