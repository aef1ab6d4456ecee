// The chain of buffers for some tags of an FLV file that is sent over HTTP.
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

/// The plug-in delivers tags with the same time in the order of the streams, not of the film.
void OutputBatch::AddTag(MediaTag tag, std::uint32_t time) {
  tag.time = time;
  if (m_held && (m_held->time != time || !Precedes(tag, *m_held))) AppendHeld();
  if (m_held) {
    Append(std::move(tag));
  } else {
    m_held = std::move(tag);
  }
}

void OutputBatch::AppendHeld() {
  if (m_held) Append(*std::exchange(m_held, std::nullopt));
}

/// Returns true if both bodies are bytes of the film, and the tag is before the other one there.
bool OutputBatch::Precedes(const MediaTag& tag, const MediaTag& other) const {
  const std::uint8_t* const body = tag.body->GetBuffer();
  const std::uint8_t* const otherBody = other.body->GetBuffer();
  return IsInFilm(body) && IsInFilm(otherBody) && std::less<>()(body, otherBody);
}

void OutputBatch::Append(MediaTag tag) {
  const std::span<const std::uint8_t> body = host::BufferBytes(tag.body.Get());
  auto& header = m_headers[m_headersUsed];
  const auto size = static_cast<std::uint32_t>(body.size());
  flv::WriteNumber<4>(header.data(), m_tagSize);
  flv::WriteTagHeader(&header[flv::kSizeFieldSize], tag.type, size, tag.time);
  m_tagSize = flv::kTagHeaderSize + size;
  // In the film, a tag header and at least the file header precede each body, so these bytes exist.
  const bool isInFilm = IsInFilm(body.data());
  if (isInFilm && std::memcmp(body.data() - kPrefixSize, header.data(), kPrefixSize) == 0) {
    AddBytes(body.data() - kPrefixSize, kPrefixSize + body.size());
    return;
  }
  ++m_headersUsed;
  AddBytes(header.data(), header.size());
  AddBytes(body.data(), body.size());
  if (!isInFilm) m_bodies.push_back(std::move(tag.body));
}

void OutputBatch::AddEnd() {
  AppendHeld();
  auto& field = m_headers[m_headersUsed++];
  flv::WriteNumber<4>(field.data(), m_tagSize);
  AddBytes(field.data(), flv::kSizeFieldSize);
}

bool OutputBatch::IsInFilm(const std::uint8_t* bytes) const {
  const std::span<const std::uint8_t> film = m_film->Bytes();
  return !std::less<>()(bytes, film.data()) && std::less<>()(bytes, film.data() + film.size());
}

/// Extends the last buffer if the bytes follow it in memory.
void OutputBatch::AddBytes(const std::uint8_t* bytes, std::size_t size) {
  m_bytes += size;
  if (m_used > 0 && m_buffers[m_used - 1].last == bytes) {
    m_buffers[m_used - 1].last += size;
    return;
  }
  ngx_buf_t& buffer = m_buffers[m_used];
  ngx_memzero(&buffer, sizeof(buffer));
  // nginx does not write to a buffer that is marked as memory.
  buffer.pos = const_cast<std::uint8_t*>(bytes);
  buffer.last = buffer.pos + size;
  buffer.memory = 1;
  m_links[m_used] = {&buffer, nullptr};
  if (m_used > 0) m_links[m_used - 1].next = &m_links[m_used];
  ++m_used;
}

ngx_chain_t* OutputBatch::Finish(bool isLast, bool isMainRequest) {
  for (std::size_t i = 0; i < m_used; ++i) AllowSendfile(m_buffers[i]);
  ngx_buf_t& last = m_buffers[m_used - 1];
  last.flush = 1;
  last.last_in_chain = isLast ? 1 : 0;
  last.last_buf = isLast && isMainRequest ? 1 : 0;
  return m_links.data();
}

/// Lets nginx choose between the file and the memory. It uses the memory if it cannot use sendfile.
void OutputBatch::AllowSendfile(ngx_buf_t& buffer) {
  buffer.start = buffer.pos;
  buffer.end = buffer.last;
  if (!IsInFilm(buffer.pos) || static_cast<std::size_t>(buffer.last - buffer.pos) < kMinSendfile) return;
  buffer.in_file = 1;
  buffer.file = &m_file;
  buffer.file_pos = buffer.pos - m_film->Bytes().data();
  buffer.file_last = buffer.last - m_film->Bytes().data();
}

}  // namespace qbflv::server
