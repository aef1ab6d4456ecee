// The format of nginx's RTMP module that plays films through the plug-in.
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

/// Of a session; lives in the connection's pool, which ends what the play module does not end.
struct Seat {
  std::unique_ptr<FilmPlayer> player;
  /// What "play" asked for, in ms of the film.
  std::optional<std::uint32_t> end;
};

Seat* SeatOf(ngx_rtmp_session_t* s) { return static_cast<Seat*>(ngx_rtmp_get_module_ctx(s, ngx_rtmp_qbflv_module)); }

Seat* MakeSeat(ngx_rtmp_session_t* s) {
  if (Seat* const seat = SeatOf(s)) return seat;
  ngx_pool_cleanup_t* const cleanup = ngx_pool_cleanup_add(s->connection->pool, 0);
  if (cleanup == nullptr) return nullptr;
  auto* const seat = new Seat;
  cleanup->data = seat;
  cleanup->handler = [](void* data) { delete static_cast<Seat*>(data); };
  ngx_rtmp_set_ctx(s, seat, ngx_rtmp_qbflv_module);
  return seat;
}

/// nginx must not see exceptions.
template <typename Action>
ngx_int_t Guarded(ngx_rtmp_session_t* s, Action action) {
  try {
    return action();
  } catch (const std::exception& error) {
    ngx_log_error(NGX_LOG_ERR, s->connection->log, 0, "qbflv: %s", error.what());
    return NGX_ERROR;
  }
}

/// Runs an action on the session's player, if there is one.
template <typename Action>
ngx_int_t WithPlayer(ngx_rtmp_session_t* s, Action action) {
  return Guarded(s, [&]() -> ngx_int_t {
    const Seat* const seat = SeatOf(s);
    if (seat == nullptr || !seat->player) return NGX_ERROR;
    action(*seat->player);
    return NGX_OK;
  });
}

ngx_int_t Init(ngx_rtmp_session_t* s, ngx_file_t* file, ngx_int_t aindex, ngx_int_t vindex) {
  if (!IsOn(s)) return g_builtIn->init(s, file, aindex, vindex);
  return Guarded(s, [&]() -> ngx_int_t {
    Engine* const engine = FindEngine();
    Seat* const seat = MakeSeat(s);
    // The play module closes its own descriptor while a task may read.
    const int descriptor = fcntl(file->fd, F_DUPFD_CLOEXEC, 0);
    if (descriptor < 0) return NGX_ERROR;
    auto source = std::make_shared<flv::FileSource>(descriptor);
    if (engine == nullptr || seat == nullptr) return NGX_ERROR;
    seat->player = std::make_unique<FilmPlayer>(s, *engine, std::move(source), seat->end);
    return NGX_OK;
  });
}

ngx_int_t Done(ngx_rtmp_session_t* s, ngx_file_t* file) {
  if (!IsOn(s)) return g_builtIn->done == nullptr ? NGX_OK : g_builtIn->done(s, file);
  if (Seat* const seat = SeatOf(s)) seat->player = nullptr;
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
  const Seat* const seat = SeatOf(s);
  return seat == nullptr || !seat->player ? NGX_DONE : seat->player->Send(*time);
}

/// Whether a part of the path is "..", which would leave the folder. A format's prefix ("mp4:") is not of the path.
bool LeavesFolder(std::string_view name) {
  while (true) {
    const std::size_t end = name.find_first_of("/:");
    if (name.substr(0, end) == "..") return true;
    if (end == std::string_view::npos) return false;
    name.remove_prefix(end + 1);
  }
}

/// The wanted duration counts from the start. Clients without one send 0, -1 or nothing.
std::optional<std::uint32_t> EndOf(const ngx_rtmp_play_t& play) {
  if (!(play.duration > 0)) return std::nullopt;
  constexpr double kMost = 0xFFFFFFFF;
  return static_cast<std::uint32_t>(std::min(std::max(0.0, play.start) + play.duration, kMost));
}

ngx_int_t Play(ngx_rtmp_session_t* s, ngx_rtmp_play_t* play) {
  if (!IsOn(s)) return g_nextPlay(s, play);
  if (!LeavesFolder(reinterpret_cast<const char*>(play->name))) {
    const ngx_int_t kept = Guarded(s, [&]() -> ngx_int_t {
      Seat* const seat = MakeSeat(s);
      if (seat == nullptr) return NGX_ERROR;
      seat->end = EndOf(*play);
      return NGX_OK;
    });
    return kept == NGX_OK ? g_nextPlay(s, play) : kept;
  }
  ngx_log_error(NGX_LOG_WARN, s->connection->log, 0, "qbflv: a film outside of the folder was asked for");
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
