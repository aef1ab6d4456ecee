// Reads a file with libavformat, for comparison with the plug-in.
#include "bench/av_reader.h"

#include <algorithm>
#include <cstdio>
#include <cstring>

extern "C" {
#include <libavformat/avformat.h>
}

#include "host/host_error.h"

namespace qbflv::bench {

namespace {

/// Bytes; the size that libavformat uses for files that it opens itself.
constexpr int kBufferSize = 32 * 1024;

}  // namespace

void AvReader::Deleter::operator()(AVFormatContext* context) const { avformat_close_input(&context); }

void AvReader::Deleter::operator()(AVIOContext* context) const {
  av_freep(&context->buffer);
  avio_context_free(&context);
}

void AvReader::Deleter::operator()(AVPacket* packet) const { av_packet_free(&packet); }

AvReader::AvReader(const host::MemoryFile& file) : m_file(file), m_packet(av_packet_alloc()) {
  auto* const buffer = static_cast<std::uint8_t*>(av_malloc(kBufferSize));
  m_io.reset(avio_alloc_context(buffer, kBufferSize, 0, this, Read, nullptr, Seek));
  AVFormatContext* context = avformat_alloc_context();
  context->pb = m_io.get();
  // On failure avformat_open_input frees the context.
  if (avformat_open_input(&context, nullptr, nullptr, nullptr) < 0)
    throw host::HostError("libavformat cannot open the file");
  m_format.reset(context);
  if (avformat_find_stream_info(context, nullptr) < 0) throw host::HostError("libavformat finds no streams");
}

std::uint64_t AvReader::Deliver() {
  std::uint64_t packets = 0;
  while (av_read_frame(m_format.get(), m_packet.get()) >= 0) {
    ++packets;
    av_packet_unref(m_packet.get());
  }
  return packets;
}

void AvReader::SeekAndShow(std::uint32_t time) {
  const std::int64_t timestamp = std::int64_t{time} * (AV_TIME_BASE / 1000);
  if (av_seek_frame(m_format.get(), -1, timestamp, AVSEEK_FLAG_BACKWARD) < 0 ||
      av_read_frame(m_format.get(), m_packet.get()) < 0) {
    throw host::HostError("libavformat cannot seek");
  }
  av_packet_unref(m_packet.get());
}

int AvReader::Read(void* self, std::uint8_t* to, int size) {
  auto& reader = *static_cast<AvReader*>(self);
  const std::uint64_t left = reader.m_file.size - std::min(reader.m_position, reader.m_file.size);
  if (left == 0) return AVERROR_EOF;
  const std::size_t count = std::min<std::uint64_t>(left, static_cast<std::uint64_t>(size));
  std::memcpy(to, reader.m_file.bytes.get() + reader.m_position, count);
  reader.m_position += count;
  return static_cast<int>(count);
}

std::int64_t AvReader::Seek(void* self, std::int64_t offset, int whence) {
  auto& reader = *static_cast<AvReader*>(self);
  const auto size = static_cast<std::int64_t>(reader.m_file.size);
  switch (whence & ~AVSEEK_FORCE) {
    case AVSEEK_SIZE:
      return size;
    case SEEK_CUR:
      offset += static_cast<std::int64_t>(reader.m_position);
      break;
    case SEEK_END:
      offset += size;
      break;
    default:
      break;
  }
  if (offset < 0) return AVERROR(EINVAL);
  reader.m_position = static_cast<std::uint64_t>(offset);
  return offset;
}

}  // namespace qbflv::bench
