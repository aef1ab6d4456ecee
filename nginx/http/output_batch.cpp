// Some tags of an FLV file on their way to an HTTP client.
#include "nginx/http/output_batch.h"

#include <cstring>
#include <functional>
#include <utility>

#include "host/buffer.h"
#include "nginx/common/text.h"

namespace qbflv::server {

OutputBatch::OutputBatch() { m_bodies.reserve(kMaxHeaders); }

void OutputBatch::SetFilm(std::shared_ptr<const FilmBytes> film, int descriptor, ngx_log_t* log) {
  m_film = std::move(film);
  m_file.fd = descriptor;
  m_file.name = StaticText("film");
  m_file.log = log;
}

void OutputBatch::Clear() {
  m_bodies.clear();
  m_used = 0;
  m_headersUsed = 0;
  m_bytes = 0;
}

void OutputBatch::AddFileStart(const std::vector<std::uint8_t>& start) {
  const std::size_t size = start.size() - flv::kSizeFieldSize;
  AddBytes(start.data(), size);
  m_tagSize = static_cast<std::uint32_t>(size) - flv::kFileHeaderSize - flv::kSizeFieldSize;
}

/// Audio and video of the same time come in the order of the streams.
void OutputBatch::AddTag(MediaTag tag, std::uint32_t time) {
  tag.time = time;
  if (m_held && (m_held->time != time || !StandsInFront(tag, *m_held))) Settle();
  if (m_held) {
    Append(std::move(tag));
  } else {
    m_held = std::move(tag);
  }
}

void OutputBatch::Settle() {
  if (m_held) Append(*std::exchange(m_held, std::nullopt));
}

bool OutputBatch::StandsInFront(const MediaTag& tag, const MediaTag& other) const {
  const std::uint8_t* const body = tag.body->GetBuffer();
  const std::uint8_t* const otherBody = other.body->GetBuffer();
  return IsOfFilm(body) && IsOfFilm(otherBody) && std::less<>()(body, otherBody);
}

void OutputBatch::Append(MediaTag tag) {
  const std::span<const std::uint8_t> body = host::BufferBytes(tag.body.Get());
  auto& header = m_headers[m_headersUsed];
  const auto size = static_cast<std::uint32_t>(body.size());
  flv::WriteNumber<4>(header.data(), m_tagSize);
  flv::WriteTagHeader(&header[flv::kSizeFieldSize], tag.type, size, tag.time);
  m_tagSize = flv::kTagHeaderSize + size;
  // A body of the film has a tag header in front, behind a file header.
  const bool isOfFilm = IsOfFilm(body.data());
  if (isOfFilm && std::memcmp(body.data() - kBetweenTags, header.data(), kBetweenTags) == 0) {
    AddBytes(body.data() - kBetweenTags, kBetweenTags + body.size());
    return;
  }
  ++m_headersUsed;
  AddBytes(header.data(), header.size());
  AddBytes(body.data(), body.size());
  if (!isOfFilm) m_bodies.push_back(std::move(tag.body));
}

void OutputBatch::AddEnd() {
  Settle();
  auto& field = m_headers[m_headersUsed++];
  flv::WriteNumber<4>(field.data(), m_tagSize);
  AddBytes(field.data(), flv::kSizeFieldSize);
}

bool OutputBatch::IsOfFilm(const std::uint8_t* bytes) const {
  const std::span<const std::uint8_t> film = m_film->Bytes();
  return !std::less<>()(bytes, film.data()) && std::less<>()(bytes, film.data() + film.size());
}

/// What follows the last bytes in memory goes into the same buffer.
void OutputBatch::AddBytes(const std::uint8_t* bytes, std::size_t size) {
  m_bytes += size;
  if (m_used > 0 && m_buffers[m_used - 1].last == bytes) {
    m_buffers[m_used - 1].last += size;
    return;
  }
  ngx_buf_t& buffer = m_buffers[m_used];
  ngx_memzero(&buffer, sizeof(buffer));
  // nginx only reads what is marked as memory.
  buffer.pos = const_cast<std::uint8_t*>(bytes);
  buffer.last = buffer.pos + size;
  buffer.memory = 1;
  m_links[m_used] = {&buffer, nullptr};
  if (m_used > 0) m_links[m_used - 1].next = &m_links[m_used];
  ++m_used;
}

ngx_chain_t* OutputBatch::Finish(bool isLast, bool isMainRequest) {
  for (std::size_t i = 0; i < m_used; ++i) OfferSendfile(m_buffers[i]);
  ngx_buf_t& last = m_buffers[m_used - 1];
  last.flush = 1;
  last.last_in_chain = isLast ? 1 : 0;
  last.last_buf = isLast && isMainRequest ? 1 : 0;
  return m_links.data();
}

/// nginx takes the memory where it cannot use sendfile.
void OutputBatch::OfferSendfile(ngx_buf_t& buffer) {
  buffer.start = buffer.pos;
  buffer.end = buffer.last;
  if (!IsOfFilm(buffer.pos) || static_cast<std::size_t>(buffer.last - buffer.pos) < kLeastForSendfile) return;
  buffer.in_file = 1;
  buffer.file = &m_file;
  buffer.file_pos = buffer.pos - m_film->Bytes().data();
  buffer.file_last = buffer.last - m_film->Bytes().data();
}

}  // namespace qbflv::server
