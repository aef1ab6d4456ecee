// Some tags of an FLV file on their way to an HTTP client.
#include "nginx/http/output_batch.h"

#include <utility>

#include "host/buffer.h"

namespace qbflv::server {

OutputBatch::OutputBatch() { m_bodies.reserve(kMostTags); }

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

void OutputBatch::AddTag(MediaTag tag, std::uint32_t time) {
  const std::span<const std::uint8_t> body = host::BufferBytes(tag.body.Get());
  auto& header = m_headers[m_headersUsed++];
  const auto size = static_cast<std::uint32_t>(body.size());
  flv::WriteNumber<4>(header.data(), m_tagSize);
  flv::WriteTagHeader(&header[flv::kSizeFieldSize], tag.type, size, time);
  AddBytes(header.data(), header.size());
  AddBytes(body.data(), body.size());
  m_tagSize = flv::kTagHeaderSize + size;
  m_bodies.push_back(std::move(tag.body));
}

void OutputBatch::AddEnd() {
  auto& field = m_headers[m_headersUsed++];
  flv::WriteNumber<4>(field.data(), m_tagSize);
  AddBytes(field.data(), flv::kSizeFieldSize);
}

void OutputBatch::AddBytes(const std::uint8_t* bytes, std::size_t size) {
  ngx_buf_t& buffer = m_buffers[m_used];
  ngx_memzero(&buffer, sizeof(buffer));
  // nginx only reads what is marked as memory.
  buffer.pos = const_cast<std::uint8_t*>(bytes);
  buffer.last = buffer.pos + size;
  buffer.start = buffer.pos;
  buffer.end = buffer.last;
  buffer.memory = 1;
  m_links[m_used] = {&buffer, nullptr};
  if (m_used > 0) m_links[m_used - 1].next = &m_links[m_used];
  ++m_used;
  m_bytes += size;
}

ngx_chain_t* OutputBatch::Finish(bool isLast, bool isMainRequest) {
  ngx_buf_t& last = m_buffers[m_used - 1];
  last.flush = 1;
  last.last_in_chain = isLast ? 1 : 0;
  last.last_buf = isLast && isMainRequest ? 1 : 0;
  return m_links.data();
}

}  // namespace qbflv::server
