// The response to an HTTP request for a film.
#include "nginx/http/film_request.h"

#include <algorithm>
#include <exception>
#include <string>
#include <utility>

#include "flv/metadata.h"
#include "nginx/http/http_module.h"
#include "nginx/http/http_text.h"
#include "nginx/playback/film_info.h"

namespace qbflv::server {

namespace {

/// Maximum number of batches for one event, so that other clients do not wait long. A batch has about half a MiB or
/// less.
constexpr int kBatchesPerTurn = 4;

std::unique_ptr<TaskRunner> MakeTasks(ngx_thread_pool_t* pool) {
  if (pool == nullptr) return std::make_unique<InlineTasks>();
  return std::make_unique<PoolTasks>(pool);
}

/// Makes nginx call sendfile on the worker's thread. With "aio threads" it would use the thread pool for each call,
/// which is slower. The call does not block, because the bytes were loaded recently.
void SendfileInWorker(ngx_http_request_t* r) {
  auto* const output = static_cast<ngx_output_chain_ctx_t*>(ngx_http_get_module_ctx(r, ngx_http_copy_filter_module));
  if (output != nullptr) output->thread_handler = nullptr;
}

/// Returns the last segment of the path in the request line. A redirect relative to it is correct behind any proxy.
std::string LastSegment(ngx_http_request_t* r) {
  const std::string_view address = ViewOf(r->unparsed_uri);
  const std::string_view path = address.substr(0, address.find('?'));
  return "./" + std::string(path.substr(path.rfind('/') + 1));
}

/// Returns the arguments in the request line. A redirect cannot change those that nginx adds when it rewrites the
/// address: the client would be redirected endlessly.
std::string_view ClientArguments(ngx_http_request_t* r) {
  const std::string_view address = ViewOf(r->unparsed_uri);
  const std::size_t mark = address.find('?');
  return mark == std::string_view::npos ? "" : address.substr(mark + 1);
}

}  // namespace

FilmRequest::FilmRequest(ngx_http_request_t* r, Engine& engine, ngx_thread_pool_t* pool, const Address& address)
    : m_request(r), m_engine(engine), m_tasks(MakeTasks(pool)), m_address(address) {}

void FilmRequest::Open(std::shared_ptr<const flv::FileSource> file, off_t fileSize, time_t fileTime) {
  m_file = file;
  m_fileSize = fileSize;
  m_fileTime = fileTime;
  m_request->read_event_handler = ngx_http_test_reading;
  m_request->write_event_handler = OnWritable;
  m_playback = std::make_unique<Playback>(m_engine, *m_tasks, std::move(file), [this] { OnReady(); });
  if (!m_address.wantsInfo) m_playback->EndAt(m_address.end);
  m_playback->Seek(m_address.start.value_or(0));
}

ngx_int_t FilmRequest::Continue() {
  try {
    if (m_isStreaming) return SendBatches();
    const Part* const part = m_playback->GetPart();
    if (part == nullptr) return NGX_AGAIN;
    const ngx_int_t result = Answer(*part);
    // nginx keeps the rest of a short response that the client has not taken yet.
    if (!m_isStreaming && m_request->header_sent != 0) m_isFinished = true;
    return result;
  } catch (const std::exception& error) {
    ngx_log_error(NGX_LOG_ERR, m_request->connection->log, 0, "qbflv: %s", error.what());
    return m_isStreaming ? NGX_ERROR : NGX_HTTP_INTERNAL_SERVER_ERROR;
  }
}

ngx_int_t FilmRequest::Answer(const Part& part) {
  using State = Part::State;
  if (part.state == State::kUnreadable) return FailRequest(m_request, 0, "the film cannot be read");
  if (part.state == State::kTooComplex) return FailRequest(m_request, 0, "this film needs a larger qbflv_cache");
  if (part.state == State::kNotFlv) {
    return SendReason(m_request, NGX_HTTP_UNSUPPORTED_MEDIA_TYPE, "This is not an FLV file.");
  }
  if (part.state == State::kNoMedia) {
    return SendReason(m_request, NGX_HTTP_UNSUPPORTED_MEDIA_TYPE, "This film has neither audio nor video.");
  }
  if (part.state == State::kPastEnd) {
    return SendReason(m_request, NGX_HTTP_RANGE_NOT_SATISFIABLE,
                      "The last frame of this film is at " + SecondsText(part.film->LatestTime()) + " s.");
  }
  if (m_address.wantsInfo) return AnswerInfo(part);
  if (m_address.end && *m_address.end <= part.start) {
    return SendReason(m_request, NGX_HTTP_RANGE_NOT_SATISFIABLE, "The end is not after the start.");
  }
  if (LocationOf(m_request).redirects != 0 && m_address.start) {
    const std::string arguments = WithStart(ClientArguments(m_request), part.start);
    if (arguments != ClientArguments(m_request)) return Redirect(part, arguments);
  }
  return StartFilm(part);
}

ngx_int_t FilmRequest::AnswerInfo(const Part& part) {
  MediaTag tag;
  const Playback::Result result = m_playback->Next(tag);
  if (result == Playback::Result::kPending) return NGX_AGAIN;
  if (result != Playback::Result::kTag) {
    return SendReason(m_request, NGX_HTTP_UNSUPPORTED_MEDIA_TYPE, "This film cannot be played.");
  }
  if (!AddValidators()) return NGX_HTTP_INTERNAL_SERVER_ERROR;
  return SendText(m_request, NGX_HTTP_OK, "application/json", FilmInfo(part, *m_playback));
}

ngx_int_t FilmRequest::Redirect(const Part& part, const std::string& arguments) {
  const std::string target = LastSegment(m_request) + (arguments.empty() ? "" : "?" + arguments);
  if (!AddHeader(m_request, "Location", target) || !AddStartHeader(part)) return NGX_HTTP_INTERNAL_SERVER_ERROR;
  return SendReason(m_request, NGX_HTTP_MOVED_TEMPORARILY, "The film is continued at a key frame.");
}

ngx_int_t FilmRequest::StartFilm(const Part& part) {
  ngx_http_request_t* const r = m_request;
  // Nothing has changed errno since the playback tried to map the film.
  if (!m_playback->Film()) return FailRequest(m_request, ngx_errno, "the film cannot be mapped");
  m_batch.SetFilm(m_playback->Film(), m_file->Descriptor(), r->connection->log);
  m_start = part.start;
  const std::uint32_t end = std::min(m_address.end.value_or(part.FilmDuration()), part.FilmDuration());
  const std::vector<std::uint8_t> metadata = MakePartMetadata(part, end - part.start);
  const flv::FileFacts& facts = part.film->Facts();
  m_fileStart = flv::MakeFileStart(facts.audio.IsPresent(), facts.video.IsPresent(), metadata);
  if (!AddValidators() || !AddStartHeader(part)) return NGX_HTTP_INTERNAL_SERVER_ERROR;
  r->headers_out.status = NGX_HTTP_OK;
  // The size of other parts is unknown, because frames at their edges may be omitted.
  if (part.start == 0 && !m_address.end) m_bytesLeft = SizeWith(part, metadata.size());
  r->headers_out.content_length_n = m_bytesLeft ? static_cast<off_t>(*m_bytesLeft) : -1;
  r->headers_out.content_type = StaticText("video/x-flv");
  r->headers_out.content_type_len = r->headers_out.content_type.len;
  const ngx_int_t result = ngx_http_send_header(r);
  if (result == NGX_ERROR || result > NGX_OK || r->header_only != 0) return result;
  m_isStreaming = true;
  m_batch.AddFileStart(m_fileStart);
  return SendBatches();
}

/// Adds Last-Modified and ETag, which identify the state of the file.
bool FilmRequest::AddValidators() {
  m_request->headers_out.last_modified_time = m_fileTime;
  // nginx makes the ETag of the time and this size.
  m_request->headers_out.content_length_n = m_fileSize;
  return ngx_http_set_etag(m_request) == NGX_OK;
}

bool FilmRequest::AddStartHeader(const Part& part) {
  return AddHeader(m_request, "X-Content-Start", SecondsText(part.start));
}

ngx_int_t FilmRequest::SendBatches() {
  ngx_http_request_t* const r = m_request;
  ngx_event_t* const writing = r->connection->write;
  if (!m_playback->Film()->IsWhole()) return Abort();
  if (writing->timer_set != 0 && writing->delayed == 0) ngx_del_timer(writing);
  for (int batch = 0; batch < kBatchesPerTurn; ++batch) {
    if (!m_isSending) {
      const Playback::Result result = FillBatch();
      if (result == Playback::Result::kFailed) return Abort();
      if (m_batch.IsEmpty()) return NGX_AGAIN;
      m_isLast = result == Playback::Result::kEnd;
    }
    const bool isNew = !std::exchange(m_isSending, true);
    SendfileInWorker(r);
    const ngx_int_t sent = ngx_http_output_filter(r, isNew ? m_batch.Finish(m_isLast, r == r->main) : nullptr);
    if (sent == NGX_ERROR) return sent;
    if (!m_batch.IsSent()) return WaitForClient();
    m_isFinished = m_isLast;
    if (m_isFinished) return sent;
    m_batch.Clear();
    m_isSending = false;
  }
  // A worker that shuts down gracefully exits when it has no timers, even if events are posted.
  if (writing->delayed == 0) ngx_add_timer(writing, CoreLocationOf(r).send_timeout);
  ngx_post_event(writing, &ngx_posted_next_events);
  return NGX_AGAIN;
}

/// Ends the response so that the client notices that the film is incomplete: the connection is closed.
ngx_int_t FilmRequest::Abort() {
  ngx_log_error(NGX_LOG_ERR, m_request->connection->log, 0, "qbflv: the film cannot be read to its end");
  return NGX_ERROR;
}

Playback::Result FilmRequest::FillBatch() {
  MediaTag tag;
  auto result = Playback::Result::kTag;
  while (!m_batch.IsFull()) {
    result = m_playback->Next(tag);
    if (result != Playback::Result::kTag) break;
    const std::uint32_t time = tag.time - m_start;
    m_batch.AddTag(std::move(tag), time);
  }
  if (result == Playback::Result::kEnd) m_batch.AddEnd();
  if (!m_bytesLeft) return result;
  if (m_batch.Bytes() > *m_bytesLeft) return Playback::Result::kFailed;
  *m_bytesLeft -= m_batch.Bytes();
  return result == Playback::Result::kEnd && *m_bytesLeft > 0 ? Playback::Result::kFailed : result;
}

ngx_int_t FilmRequest::WaitForClient() {
  ngx_event_t* const writing = m_request->connection->write;
  const ngx_http_core_loc_conf_t& core = CoreLocationOf(m_request);
  if (writing->delayed == 0) ngx_add_timer(writing, core.send_timeout);
  return ngx_handle_write_event(writing, core.send_lowat) == NGX_OK ? NGX_AGAIN : NGX_ERROR;
}

void FilmRequest::OnWritable(ngx_http_request_t* r) {
  ngx_event_t* const writing = r->connection->write;
  if (writing->timedout != 0) {
    ngx_log_error(NGX_LOG_INFO, r->connection->log, NGX_ETIMEDOUT, "client timed out");
    r->connection->timedout = 1;
    ngx_http_finalize_request(r, NGX_HTTP_REQUEST_TIME_OUT);
    return;
  }
  if (writing->delayed != 0) {
    const bool isArmed = ngx_handle_write_event(writing, CoreLocationOf(r).send_lowat) == NGX_OK;
    if (!isArmed) ngx_http_finalize_request(r, NGX_ERROR);
    return;
  }
  auto* const film = static_cast<FilmRequest*>(ngx_http_get_module_ctx(r, ngx_http_qbflv_module));
  const ngx_int_t result = film->Continue();
  if (result != NGX_AGAIN || film->m_isFinished) ngx_http_finalize_request(r, result);
}

/// Continues after a task. May finalize the request, which destroys this object.
void FilmRequest::OnReady() {
  ngx_connection_t* const connection = m_request->connection;
  ngx_http_set_log_request(connection->log, m_request);
  OnWritable(m_request);
  ngx_http_run_posted_requests(connection);
}

}  // namespace qbflv::server
