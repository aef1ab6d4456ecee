// The response to an HTTP request for a film.
#pragma once

#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "nginx/common/pool_tasks.h"
#include "nginx/http/http_headers.h"
#include "nginx/http/output_batch.h"
#include "nginx/playback/address.h"
#include "nginx/playback/playback.h"

namespace qbflv::server {

/// The state of one request. The request's pool owns it.
class FilmRequest {
 public:
  /// pool: the thread pool that reads the film; null to read on the worker's thread.
  FilmRequest(ngx_http_request_t* r, Engine& engine, ngx_thread_pool_t* pool, const Address& address);

  /// Starts the playback. fileTime: time of the last modification.
  void Open(std::shared_ptr<const flv::FileSource> file, off_t fileSize, time_t fileTime);

  /// Returns true if nginx has the whole response. The request can then be finalized also with NGX_AGAIN.
  bool IsFinished() const { return m_isFinished; }

  /// Continues the response. Returns NGX_AGAIN if it must wait for an event, unless IsFinished; otherwise the status to
  /// finalize the request with.
  ngx_int_t Continue();

 private:
  static void OnWritable(ngx_http_request_t* r);
  void OnReady();

  ngx_int_t Answer(const Part& part);
  ngx_int_t AnswerInfo(const Part& part);
  ngx_int_t StartFilm(const Part& part);
  /// arguments: those of the new address.
  ngx_int_t Redirect(const Part& part, const std::string& arguments);
  bool AddValidators();
  bool AddStartHeader(const Part& part);
  ngx_int_t SendBatches();
  /// Returns the last result of the playback, or kFailed if the size of the response does not match Content-Length.
  Playback::Result FillBatch();
  ngx_int_t WaitForClient();
  ngx_int_t Abort();

  ngx_http_request_t* const m_request;
  Engine& m_engine;
  const std::unique_ptr<TaskRunner> m_tasks;
  const Address m_address;
  std::shared_ptr<const flv::FileSource> m_file;
  off_t m_fileSize = 0;
  time_t m_fileTime = 0;
  std::unique_ptr<Playback> m_playback;
  bool m_isStreaming = false;
  /// True if nginx has the batch, and if it is the last one.
  bool m_isSending = false;
  bool m_isLast = false;
  bool m_isFinished = false;
  /// Number of bytes still to be added to a batch; empty if the response has no Content-Length.
  std::optional<std::uint64_t> m_bytesLeft;
  /// Time of the first frame of the response, in ms of the film.
  std::uint32_t m_start = 0;
  /// The file header and the metadata tag. m_batch refers to them.
  std::vector<std::uint8_t> m_fileStart;
  OutputBatch m_batch;
};

}  // namespace qbflv::server
