// Sends a film to an RTMP client.
#include "nginx/rtmp/film_player.h"

#include <algorithm>
#include <exception>
#include <utility>

#include "host/buffer.h"
#include "nginx/rtmp/rtmp_module.h"

namespace qbflv::server {

namespace {

/// Minimum length of the client's buffer in ms, for clients that announce a shorter one.
constexpr ngx_msec_t kMinBuffer = 1000;
/// Delay in ms if the next call is caused by an event: data, a seek or the end of the session.
constexpr ngx_int_t kLongWait = 3600 * 1000;
/// Status and control messages have priority 0, which reserves the last quarter of the queue for them.
constexpr ngx_uint_t kMediaPriority = 1;
constexpr std::size_t kMaxTagsPerCall = 64;
/// Number of bytes in the queue after which nothing is added until it is empty. The queue itself limits only the number
/// of messages, of up to 16 MiB each.
constexpr std::size_t kMaxQueuedBytes = 2 * 1024 * 1024;

ngx_rtmp_core_srv_conf_t* ServerOf(ngx_rtmp_session_t* s) {
  return static_cast<ngx_rtmp_core_srv_conf_t*>(ngx_rtmp_get_module_srv_conf(s, ngx_rtmp_core_module));
}

ngx_rtmp_play_ctx_t* PlayOf(ngx_rtmp_session_t* s) {
  return static_cast<ngx_rtmp_play_ctx_t*>(ngx_rtmp_get_module_ctx(s, ngx_rtmp_play_module));
}

/// Cancels the pending send event. After a seek the play module posts the event again even if its timer is still set.
/// Then the film would be sent at double rate, and would end twice.
void CancelSending(ngx_rtmp_session_t* s) {
  ngx_rtmp_play_ctx_t* const play = PlayOf(s);
  if (play == nullptr) return;
  if (play->send_evt.timer_set != 0) {
    ngx_del_timer(&play->send_evt);
  }
  // The braces are required: the macro has two statements.
  if (play->send_evt.posted != 0) {
    ngx_delete_posted_event(&play->send_evt);
  }
}

bool IsQueueEmpty(const ngx_rtmp_session_t* s) { return s->out_pos == s->out_last; }

/// Removes const for ngx_rtmp_send_status, which does not modify its arguments.
char* Text(const char* text) { return const_cast<char*>(text); }

}  // namespace

FilmPlayer::FilmPlayer(ngx_rtmp_session_t* s, Engine& engine, std::shared_ptr<const flv::FileSource> file,
                       std::optional<std::uint32_t> end, std::size_t& queuedBytes)
    : m_session(s),
      m_tasks(ReadingPool()),
      m_playback(engine, m_tasks, std::move(file), [this] { OnReady(); }),
      m_queuedBytes(queuedBytes) {
  m_playback.EndAt(end);
}

FilmPlayer::~FilmPlayer() { DiscardKept(); }

void FilmPlayer::Seek(std::uint32_t time) {
  CancelSending(m_session);
  DiscardKept();
  m_early.reset();
  m_lastAudio.reset();
  m_lastVideo.reset();
  m_clockStart.reset();
  m_hasMetadata = false;
  m_hasEnded = false;
  m_lastTime = time;
  const ngx_rtmp_play_ctx_t* const play = PlayOf(m_session);
  m_isFirstPart = play == nullptr || play->opened == 0;
  m_playback.Seek(time);
}

void FilmPlayer::Start() {
  CancelSending(m_session);
  m_isRunning = true;
  m_startedAt = ngx_current_msec;
}

void FilmPlayer::Stop() {
  if (m_isRunning) m_elapsed += ngx_current_msec - m_startedAt;
  m_isRunning = false;
}

ngx_int_t FilmPlayer::Send(ngx_uint_t& time) {
  if (m_hasEnded || !m_isRunning) return kLongWait;
  ngx_int_t result = NGX_DONE;
  try {
    result = SendSome();
  } catch (const std::exception& error) {
    result = Fail(error.what());
  }
  time = m_lastTime;
  m_hasEnded = m_hasEnded || result == NGX_DONE;
  return result;
}

ngx_int_t FilmPlayer::SendSome() {
  if (!SendKept() || HasManyBytes()) return NGX_AGAIN;
  if (!m_hasMetadata) {
    const ngx_int_t result = SendMetadata();
    if (result != NGX_OK) return result;
  }
  // Fill only a part of an empty queue. nginx calls this function when the queue is empty, and would call it endlessly
  // if it returned NGX_AGAIN then.
  const std::size_t maxTags = std::clamp<std::size_t>(m_session->out_queue / 4, 1, kMaxTagsPerCall);
  for (std::size_t count = 0; count < maxTags; ++count) {
    MediaTag tag;
    auto result = Playback::Result::kTag;
    if (m_early) {
      tag = *std::exchange(m_early, std::nullopt);
    } else {
      result = m_playback.Next(tag);
    }
    if (result == Playback::Result::kPending) return kLongWait;
    if (result == Playback::Result::kEnd) return NGX_DONE;
    if (result == Playback::Result::kFailed) return Fail("the film cannot be read to its end");
    const ngx_int_t wait = TimeUntilDue(tag.time);
    if (wait > 0) {
      m_early = std::move(tag);
      return wait;
    }
    m_lastTime = tag.time;
    const ngx_int_t sent = SendTag(tag);
    if (sent != NGX_OK) return sent;
  }
  return NGX_OK;
}

ngx_int_t FilmPlayer::TimeUntilDue(std::uint32_t time) {
  if (!m_clockStart) {
    m_clockStart = time;
    m_elapsed = 0;
    m_startedAt = ngx_current_msec;
  }
  const ngx_msec_t elapsed = m_elapsed + (ngx_current_msec - m_startedAt);
  const ngx_msec_t due = *m_clockStart + elapsed + std::max<ngx_msec_t>(m_session->buflen, kMinBuffer);
  return due >= time ? 0 : static_cast<ngx_int_t>(time - due);
}

ngx_int_t FilmPlayer::SendMetadata() {
  const Part* const part = m_playback.GetPart();
  if (part == nullptr) return kLongWait;
  if (part->state == Part::State::kPastEnd) return NGX_DONE;
  if (part->state == Part::State::kTooComplex) return Fail("this film needs a larger qbflv_cache");
  if (part->state != Part::State::kPlayable || !m_playback.Film()) return Fail("this film cannot be played");
  m_base = m_isFirstPart ? part->start : 0;
  const std::vector<std::uint8_t> metadata = MakePartMetadata(*part, part->FilmDuration());
  ngx_rtmp_header_t header{};
  header.csid = NGX_RTMP_CSID_AMF;
  header.msid = NGX_RTMP_MSID;
  header.type = NGX_RTMP_MSG_AMF_META;
  header.timestamp = part->start - m_base;
  m_hasMetadata = true;
  return SendMessage(header, nullptr, metadata);
}

ngx_int_t FilmPlayer::SendTag(const MediaTag& tag) {
  const bool isAudio = tag.type == flv::TagType::kAudio;
  std::optional<ngx_rtmp_header_t>& last = isAudio ? m_lastAudio : m_lastVideo;
  ngx_rtmp_header_t header{};
  header.csid = isAudio ? NGX_RTMP_CSID_AUDIO : NGX_RTMP_CSID_VIDEO;
  header.msid = NGX_RTMP_MSID;
  header.type = isAudio ? NGX_RTMP_MSG_AUDIO : NGX_RTMP_MSG_VIDEO;
  header.timestamp = tag.time - m_base;
  const ngx_int_t sent = SendMessage(header, last ? &*last : nullptr, host::BufferBytes(tag.body.Get()));
  last = header;
  return sent;
}

ngx_int_t FilmPlayer::SendMessage(ngx_rtmp_header_t& header, ngx_rtmp_header_t* last,
                                  std::span<const std::uint8_t> bytes) {
  ngx_buf_t buffer{};
  // ngx_rtmp_append_shared_bufs copies the bytes.
  buffer.pos = const_cast<std::uint8_t*>(bytes.data());
  buffer.last = buffer.pos + bytes.size();
  buffer.memory = 1;
  ngx_chain_t chain{&buffer, nullptr};
  m_kept = ngx_rtmp_append_shared_bufs(ServerOf(m_session), nullptr, &chain);
  if (m_kept == nullptr) return Fail("out of memory");
  m_keptBytes = bytes.size();
  if (m_playback.Film()->HasLostBytes()) return Fail("the film cannot be read to its end");
  ngx_rtmp_prepare_message(m_session, &header, last, m_kept);
  return SendKept() && !HasManyBytes() ? NGX_OK : NGX_AGAIN;
}

/// Sends the kept message. Returns false if the queue is full; the message is then kept.
bool FilmPlayer::SendKept() {
  if (m_kept == nullptr) return true;
  if (IsQueueEmpty(m_session)) m_queuedBytes = 0;
  if (ngx_rtmp_send_message(m_session, m_kept, kMediaPriority) == NGX_AGAIN) return false;
  m_queuedBytes += m_keptBytes;
  DiscardKept();
  return true;
}

/// Returns true if the queue has so many bytes that it must become empty first. Then it is not empty, so that nginx
/// waits for the client after NGX_AGAIN.
bool FilmPlayer::HasManyBytes() const { return !IsQueueEmpty(m_session) && m_queuedBytes > kMaxQueuedBytes; }

void FilmPlayer::DiscardKept() {
  if (m_kept != nullptr) ngx_rtmp_free_shared_chain(ServerOf(m_session), std::exchange(m_kept, nullptr));
}

/// Logs the reason and ends the film. Before the first frame the client gets a status; later the film just ends.
ngx_int_t FilmPlayer::Fail(const char* reason) {
  ngx_log_error(NGX_LOG_ERR, m_session->connection->log, 0, "qbflv: %s", reason);
  m_hasEnded = true;
  if (m_clockStart) return NGX_DONE;
  ngx_rtmp_send_status(m_session, Text("NetStream.Play.Failed"), Text("error"), Text(reason));
  return kLongWait;
}

void FilmPlayer::OnReady() {
  ngx_rtmp_play_ctx_t* const play = PlayOf(m_session);
  if (play == nullptr || play->playing == 0) return;
  CancelSending(m_session);
  ngx_post_event(&play->send_evt, &ngx_posted_events);
}

}  // namespace qbflv::server
