// The format that lets nginx's RTMP module play films through the plug-in.
#include "nginx/rtmp/film_format.h"

#include <fcntl.h>

#include <algorithm>
#include <exception>
#include <memory>
#include <optional>
#include <string_view>
#include <utility>

#include "nginx/common/worker.h"
#include "nginx/rtmp/film_player.h"
#include "nginx/rtmp/rtmp_module.h"

namespace qbflv::server {

namespace {

ngx_rtmp_play_fmt_t g_format;
ngx_rtmp_play_fmt_t* g_builtIn = nullptr;
ngx_rtmp_play_pt g_nextPlay = nullptr;

/// The state of a session. The connection's pool owns it, so that it is destroyed even if the play module does not call
/// Done.
struct SessionState {
  /// The end that the command "play" requested, in ms of the film.
  std::optional<std::uint32_t> end;
  /// Number of media bytes that were added to the session's queue since it was last empty. A client can play several
  /// films before it receives the first.
  std::size_t queuedBytes = 0;
  std::unique_ptr<FilmPlayer> player;
};

SessionState* StateOf(ngx_rtmp_session_t* s) {
  return static_cast<SessionState*>(ngx_rtmp_get_module_ctx(s, ngx_rtmp_qbflv_module));
}

SessionState* MakeState(ngx_rtmp_session_t* s) {
  if (SessionState* const state = StateOf(s)) return state;
  ngx_pool_cleanup_t* const cleanup = ngx_pool_cleanup_add(s->connection->pool, 0);
  if (cleanup == nullptr) return nullptr;
  auto* const state = new SessionState;
  cleanup->data = state;
  cleanup->handler = [](void* data) { delete static_cast<SessionState*>(data); };
  ngx_rtmp_set_ctx(s, state, ngx_rtmp_qbflv_module);
  return state;
}

ngx_int_t Fail(ngx_rtmp_session_t* s, ngx_err_t error, const char* reason) {
  ngx_log_error(NGX_LOG_ERR, s->connection->log, error, "qbflv: %s", reason);
  return NGX_ERROR;
}

/// Runs an action. Returns NGX_ERROR if it throws, because exceptions must not reach nginx.
template <typename Action>
ngx_int_t Guarded(ngx_rtmp_session_t* s, Action action) {
  try {
    return action();
  } catch (const std::exception& error) {
    return Fail(s, 0, error.what());
  }
}

/// Runs an action on the player of the session. Returns NGX_ERROR if there is none.
template <typename Action>
ngx_int_t WithPlayer(ngx_rtmp_session_t* s, Action action) {
  return Guarded(s, [&]() -> ngx_int_t {
    const SessionState* const state = StateOf(s);
    if (state == nullptr || !state->player) return NGX_ERROR;
    action(*state->player);
    return NGX_OK;
  });
}

ngx_int_t Init(ngx_rtmp_session_t* s, ngx_file_t* file, ngx_int_t aindex, ngx_int_t vindex) {
  if (!IsOn(s)) return g_builtIn->init(s, file, aindex, vindex);
  return Guarded(s, [&]() -> ngx_int_t {
    Engine* const engine = FindEngine();
    if (engine == nullptr) return Fail(s, 0, "the plug-in is not loaded");
    SessionState* const state = MakeState(s);
    if (state == nullptr) return NGX_ERROR;
    // Duplicate the descriptor, because the play module may close its own while a task reads.
    const int descriptor = fcntl(file->fd, F_DUPFD_CLOEXEC, 0);
    if (descriptor < 0) return Fail(s, ngx_errno, "the file descriptor cannot be duplicated");
    auto source = std::make_shared<flv::FileSource>(descriptor);
    state->player = std::make_unique<FilmPlayer>(s, *engine, std::move(source), state->end, state->queuedBytes);
    return NGX_OK;
  });
}

ngx_int_t Done(ngx_rtmp_session_t* s, ngx_file_t* file) {
  if (!IsOn(s)) return g_builtIn->done == nullptr ? NGX_OK : g_builtIn->done(s, file);
  if (SessionState* const state = StateOf(s)) state->player = nullptr;
  return NGX_OK;
}

ngx_int_t Start(ngx_rtmp_session_t* s, ngx_file_t* file) {
  if (!IsOn(s)) return g_builtIn->start(s, file);
  return WithPlayer(s, [](FilmPlayer& player) { player.Start(); });
}

ngx_int_t Stop(ngx_rtmp_session_t* s, ngx_file_t* file) {
  if (!IsOn(s)) return g_builtIn->stop(s, file);
  return WithPlayer(s, [](FilmPlayer& player) { player.Stop(); });
}

ngx_int_t Seek(ngx_rtmp_session_t* s, ngx_file_t* file, ngx_uint_t time) {
  if (!IsOn(s)) return g_builtIn->seek(s, file, time);
  return WithPlayer(s, [time](FilmPlayer& player) {
    player.Seek(static_cast<std::uint32_t>(std::min<ngx_uint_t>(time, 0xFFFFFFFF)));
  });
}

ngx_int_t Send(ngx_rtmp_session_t* s, ngx_file_t* file, ngx_uint_t* time) {
  if (!IsOn(s)) return g_builtIn->send(s, file, time);
  const SessionState* const state = StateOf(s);
  return state == nullptr || !state->player ? NGX_DONE : state->player->Send(*time);
}

/// Returns true if a segment of the path is "..". The prefix of a format ("mp4:") does not belong to the path.
bool LeavesFolder(std::string_view name) {
  while (true) {
    const std::size_t end = name.find_first_of("/:");
    if (name.substr(0, end) == "..") return true;
    if (end == std::string_view::npos) return false;
    name.remove_prefix(end + 1);
  }
}

/// Returns the end of the film that the client requests, in ms. The duration is relative to the start time. Clients
/// that want the whole film send 0, -1 or no duration.
std::optional<std::uint32_t> EndOf(const ngx_rtmp_play_t& play) {
  if (!(play.duration > 0)) return std::nullopt;
  constexpr double kMaxTime = 0xFFFFFFFF;
  return static_cast<std::uint32_t>(std::min(std::max(0.0, play.start) + play.duration, kMaxTime));
}

ngx_int_t Play(ngx_rtmp_session_t* s, ngx_rtmp_play_t* play) {
  if (!IsOn(s)) return g_nextPlay(s, play);
  if (!LeavesFolder(reinterpret_cast<const char*>(play->name))) {
    const ngx_int_t kept = Guarded(s, [&]() -> ngx_int_t {
      SessionState* const state = MakeState(s);
      if (state == nullptr) return NGX_ERROR;
      state->end = EndOf(*play);
      return NGX_OK;
    });
    return kept == NGX_OK ? g_nextPlay(s, play) : kept;
  }
  ngx_log_error(NGX_LOG_WARN, s->connection->log, 0, "qbflv: the name of the film leaves the folder");
  char code[] = "NetStream.Play.StreamNotFound";
  char level[] = "error";
  char reason[] = "There is no such film.";
  return ngx_rtmp_send_status(s, code, level, reason) == NGX_ERROR ? NGX_ERROR : NGX_OK;
}

}  // namespace

ngx_rtmp_play_fmt_t* WrapFormat(ngx_rtmp_play_fmt_t* builtIn) {
  g_builtIn = builtIn;
  g_format = *builtIn;
  g_format.init = Init;
  g_format.done = Done;
  g_format.start = Start;
  g_format.seek = Seek;
  g_format.stop = Stop;
  g_format.send = Send;
  return &g_format;
}

void GuardPlay() {
  g_nextPlay = ngx_rtmp_play;
  ngx_rtmp_play = Play;
}

}  // namespace qbflv::server
