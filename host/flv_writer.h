// Writes an FLV file that takes the place of its target only when it is complete.
#pragma once

#include <cstdint>
#include <filesystem>
#include <span>
#include <vector>

#include "host/temporary_file.h"

namespace qbflv::host {

/// All operations throw HostError. Without Commit, the target stays as it was.
class FlvWriter {
 public:
  /// What the file's header announces.
  struct Streams {
    bool audio = false;
    bool video = false;
  };

  FlvWriter(const std::filesystem::path& target, Streams streams);

  /// time: ms, all 32 bits. body: at most 2^24 - 1 bytes.
  void WriteTag(std::uint8_t type, std::uint32_t time, std::span<const std::uint8_t> body);

  void Commit();

  /// The size of the file so far.
  std::uint64_t Size() const { return m_size; }

 private:
  void Append(std::span<const std::uint8_t> bytes);
  void AppendBigEndian(std::uint32_t value, int byteCount);
  void Flush();

  TemporaryFile m_file;
  /// Bytes on their way to the file.
  std::vector<std::uint8_t> m_pending;
  std::uint64_t m_size = 0;
};

}  // namespace qbflv::host
