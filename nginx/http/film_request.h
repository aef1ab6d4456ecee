// One HTTP request for a film, from the address to the last byte.
#pragma once

#include <memory>
#include <optional>
#include <string_view>
#include <vector>

#include "nginx/common/pool_tasks.h"
#include "nginx/http/http_headers.h"
#include "nginx/http/output_batch.h"
#include "nginx/playback/address.h"
#include "nginx/playback/playback.h"

namespace qbflv::server {

/// The content handler of a location with "qbflv".
ngx_int_t HandleFilmRequest(ngx_http_request_t* r);

/// Belongs to the request's pool.
class FilmRequest {
 public:
  /// tasks: where reads run; null for this thread.
  FilmRequest(ngx_http_request_t* r, Engine& engine, ngx_thread_pool_t* pool, const Address& address);

  /// fileTime: of the last modification.
  void Open(std::shared_ptr<const flv::FileSource> file, off_t fileSize, time_t fileTime);

  /// Whether nginx has sent the film's last byte, or keeps a copy; then NGX_AGAIN is a status, too.
  bool IsFinished() const { return m_isFinished; }

  /// Does what can be done now. NGX_AGAIN: an event will go on; else the status to finalize the request with.
  ngx_int_t Continue();

 private:
  static void OnWritable(ngx_http_request_t* r);
  void OnReady();

  ngx_int_t Answer(const Part& part);
  ngx_int_t AnswerInfo(const Part& part);
  ngx_int_t StartFilm(const Part& part);
  ngx_int_t Redirect(const Part& part);
  bool AddValidators();
  bool AddStartHeader(const Part& part);
  ngx_int_t SendBatches();
  /// The last result of the playback. kFailed also if the response has not the size that was promised.
  Playback::Result FillBatch();
  ngx_int_t WaitForClient();
  ngx_int_t Break();

  ngx_http_request_t* const m_request;
  Engine& m_engine;
  const std::unique_ptr<TaskRunner> m_tasks;
  const Address m_address;
  std::shared_ptr<const flv::FileSource> m_file;
  off_t m_fileSize = 0;
  time_t m_fileTime = 0;
  std::unique_ptr<Playback> m_playback;
  bool m_isStreaming = false;
  /// Whether nginx has the batch, and whether it is the last one.
  bool m_isHandedOver = false;
  bool m_isLast = false;
  bool m_isFinished = false;
  /// Bytes of the response that are still to come; empty if that was not promised.
  std::optional<std::uint64_t> m_bytesLeft;
  /// Of the film's first frame that is sent.
  std::uint32_t m_start = 0;
  /// The file header and the metadata, until they are sent.
  std::vector<std::uint8_t> m_fileStart;
  OutputBatch m_batch;
};

}  // namespace qbflv::server
