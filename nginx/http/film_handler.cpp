// Starts the response to an HTTP request for a film: parses the address and opens the file.
#include "nginx/http/film_handler.h"

#include <fcntl.h>

#include <exception>
#include <memory>

#include "nginx/common/worker.h"
#include "nginx/http/film_request.h"
#include "nginx/http/http_module.h"
#include "nginx/http/http_text.h"

namespace qbflv::server {

namespace {

/// Gets the thread pool of the location; null if the location uses none.
ngx_int_t FindPool(ngx_http_request_t* r, ngx_thread_pool_t*& pool) {
  const ngx_http_core_loc_conf_t& core = CoreLocationOf(r);
  pool = nullptr;
  if (core.aio != NGX_HTTP_AIO_THREADS) return NGX_OK;
  pool = core.thread_pool;
  if (pool != nullptr) return NGX_OK;
  ngx_str_t name;
  if (ngx_http_complex_value(r, core.thread_pool_value, &name) != NGX_OK) return NGX_ERROR;
  // ngx_thread_pool_get does not modify the cycle.
  pool = ngx_thread_pool_get(const_cast<ngx_cycle_t*>(ngx_cycle), &name);
  if (pool != nullptr) return NGX_OK;
  ngx_log_error(NGX_LOG_ERR, r->connection->log, 0, "qbflv: thread pool \"%V\" not found", &name);
  return NGX_ERROR;
}

/// Opens the file of the request. If there is no such film, sends the reason, also with the result NGX_OK.
ngx_int_t OpenFile(ngx_http_request_t* r, ngx_open_file_info_t& file) {
  ngx_http_core_loc_conf_t& core = CoreLocationOf(r);
  ngx_str_t path;
  size_t rootSize = 0;
  if (ngx_http_map_uri_to_path(r, &path, &rootSize, 0) == nullptr) return NGX_HTTP_INTERNAL_SERVER_ERROR;
  ngx_memzero(&file, sizeof(file));
  file.read_ahead = core.read_ahead;
  file.directio = NGX_OPEN_FILE_DIRECTIO_OFF;
  file.valid = core.open_file_cache_valid;
  file.min_uses = core.open_file_cache_min_uses;
  file.errors = core.open_file_cache_errors != 0 ? 1 : 0;
  file.events = core.open_file_cache_events != 0 ? 1 : 0;
  if (ngx_http_set_disable_symlinks(r, &core, &path, &file) != NGX_OK) return NGX_HTTP_INTERNAL_SERVER_ERROR;
  if (ngx_open_cached_file(core.open_file_cache, &path, &file, r->pool) == NGX_OK) {
    if (file.is_dir != 0) return NGX_DECLINED;
    return file.is_file != 0 ? NGX_OK : SendReason(r, NGX_HTTP_NOT_FOUND, "There is no such film.");
  }
  if (file.err == NGX_ENOENT || file.err == NGX_ENOTDIR || file.err == NGX_ENAMETOOLONG) {
    return SendReason(r, NGX_HTTP_NOT_FOUND, "There is no such film.");
  }
  ngx_log_error(NGX_LOG_CRIT, r->connection->log, file.err, "%s \"%V\" failed", file.failed, &path);
  // The last two: a link that "disable_symlinks" forbids.
  const bool isForbidden = file.err == NGX_EACCES || file.err == NGX_ELOOP || file.err == NGX_EMLINK;
  return isForbidden ? NGX_HTTP_FORBIDDEN : NGX_HTTP_INTERNAL_SERVER_ERROR;
}

ngx_int_t StartRequest(ngx_http_request_t* r, const ngx_open_file_info_t& file, const Address& address) {
  Engine* const engine = FindEngine();
  if (engine == nullptr) return FailRequest(r, 0, "the plug-in is not loaded");
  ngx_thread_pool_t* pool = nullptr;
  ngx_pool_cleanup_t* const cleanup = ngx_pool_cleanup_add(r->pool, 0);
  if (cleanup == nullptr || FindPool(r, pool) != NGX_OK) return NGX_HTTP_INTERNAL_SERVER_ERROR;
  auto* const film = new FilmRequest(r, *engine, pool, address);
  cleanup->data = film;
  cleanup->handler = [](void* data) { delete static_cast<FilmRequest*>(data); };
  ngx_http_set_ctx(r, film, ngx_http_qbflv_module);
  // Duplicate the descriptor, because nginx may close its own while a task reads.
  const int descriptor = fcntl(file.fd, F_DUPFD_CLOEXEC, 0);
  if (descriptor < 0) return FailRequest(r, ngx_errno, "the file descriptor cannot be duplicated");
  film->Open(std::make_shared<flv::FileSource>(descriptor), file.size, file.mtime);
  const ngx_int_t result = film->Continue();
  if (result != NGX_AGAIN || film->IsFinished()) return result;
  ++r->main->count;
  return NGX_DONE;
}

}  // namespace

ngx_int_t HandleFilmRequest(ngx_http_request_t* r) {
  if ((r->method & (NGX_HTTP_GET | NGX_HTTP_HEAD)) == 0) return NGX_HTTP_NOT_ALLOWED;
  if (r->uri.data[r->uri.len - 1] == '/') return NGX_DECLINED;
  const ngx_int_t discarded = ngx_http_discard_request_body(r);
  if (discarded != NGX_OK) return discarded;
  try {
    const auto address = ParseAddress(ViewOf(r->args));
    if (!address) return SendReason(r, NGX_HTTP_BAD_REQUEST, "A time is written as 61.5 or 1:01.5.");
    ngx_open_file_info_t file;
    const ngx_int_t opened = OpenFile(r, file);
    // OpenFile may have sent a reason.
    if (opened != NGX_OK || r->header_sent != 0) return opened;
    return StartRequest(r, file, *address);
  } catch (const std::exception& error) {
    return FailRequest(r, 0, error.what());
  }
}

}  // namespace qbflv::server
