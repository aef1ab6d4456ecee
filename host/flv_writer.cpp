// Writes an FLV file that takes the place of its target only when it is complete.
#include "host/flv_writer.h"

#include <fmt/format.h>

#include "host/host_error.h"

namespace qbflv::host {

namespace {

constexpr std::uint8_t kAnnouncesVideo = 0x01;
constexpr std::uint8_t kAnnouncesAudio = 0x04;
constexpr std::uint32_t kFileHeaderSize = 9;
constexpr std::uint32_t kTagHeaderSize = 11;
constexpr std::size_t kLargestBody = 0xFFFFFF;
/// Bytes collected before they are written.
constexpr std::size_t kWriteSize = 1024 * 1024;

}  // namespace

FlvWriter::FlvWriter(const std::filesystem::path& target, Streams streams) : m_file(target) {
  const int flags = (streams.audio ? kAnnouncesAudio : 0) | (streams.video ? kAnnouncesVideo : 0);
  const std::uint8_t start[] = {'F', 'L', 'V', 1, static_cast<std::uint8_t>(flags)};
  m_pending.reserve(kWriteSize);
  Append(start);
  AppendBigEndian(kFileHeaderSize, 4);
  AppendBigEndian(0, 4);  // no tag stands before the first
}

void FlvWriter::WriteTag(std::uint8_t type, std::uint32_t time, std::span<const std::uint8_t> body) {
  if (body.size() > kLargestBody) {
    throw HostError(fmt::format("a packet of {} bytes does not fit into an FLV tag", body.size()));
  }
  const auto bodySize = static_cast<std::uint32_t>(body.size());
  AppendBigEndian(type, 1);
  AppendBigEndian(bodySize, 3);
  AppendBigEndian(time & 0xFFFFFF, 3);
  AppendBigEndian(time >> 24, 1);
  AppendBigEndian(0, 3);  // the stream id, always 0 in a file
  Append(body);
  AppendBigEndian(kTagHeaderSize + bodySize, 4);
  if (m_pending.size() >= kWriteSize) Flush();
}

void FlvWriter::Commit() {
  Flush();
  m_file.Commit();
}

void FlvWriter::Append(std::span<const std::uint8_t> bytes) {
  m_pending.insert(m_pending.end(), bytes.begin(), bytes.end());
  m_size += bytes.size();
}

void FlvWriter::AppendBigEndian(std::uint32_t value, int byteCount) {
  for (int shift = 8 * (byteCount - 1); shift >= 0; shift -= 8) {
    m_pending.push_back(static_cast<std::uint8_t>(value >> shift));
  }
  m_size += static_cast<std::uint64_t>(byteCount);
}

void FlvWriter::Flush() {
  m_file.Write(m_pending);
  m_pending.clear();
}

}  // namespace qbflv::host
