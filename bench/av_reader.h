// Reads a file with libavformat, for comparison with the plug-in.
#pragma once

#include <cstdint>
#include <memory>

#include "host/memory_file.h"

struct AVFormatContext;
struct AVIOContext;
struct AVPacket;

namespace qbflv::bench {

class AvReader {
 public:
  /// Opens the file and reads the stream information. file: must outlive the reader. Throws HostError.
  explicit AvReader(const host::MemoryFile& file);
  AvReader(const AvReader&) = delete;
  AvReader& operator=(const AvReader&) = delete;

  /// Reads to the end of the file. Returns the number of packets.
  std::uint64_t Deliver();
  /// Seeks to a time in ms and reads one packet.
  void SeekAndShow(std::uint32_t time);

 private:
  struct Deleter {
    void operator()(AVFormatContext* context) const;
    void operator()(AVIOContext* context) const;
    void operator()(AVPacket* packet) const;
  };

  static int Read(void* self, std::uint8_t* to, int size);
  static std::int64_t Seek(void* self, std::int64_t offset, int whence);

  const host::MemoryFile& m_file;
  std::uint64_t m_position = 0;
  // In this order: the format context must be destroyed before the I/O context.
  std::unique_ptr<AVIOContext, Deleter> m_io;
  std::unique_ptr<AVFormatContext, Deleter> m_format;
  std::unique_ptr<AVPacket, Deleter> m_packet;
};

}  // namespace qbflv::bench
