// Writes an FLV file that replaces its target only when it is complete.
#include "cli/flv_writer.h"

#include <fmt/format.h>

#include <algorithm>
#include <array>

#include "flv/format.h"
#include "flv/scan.h"
#include "host/host_error.h"

namespace qbflv::cli {

namespace {

/// Number of bytes that are collected before they are written.
constexpr std::size_t kWriteSize = 1024 * 1024;

double Seconds(std::uint32_t time) { return time / 1000.0; }

}  // namespace

FlvWriter::FlvWriter(const std::filesystem::path& target, const flv::FileFacts& facts, std::size_t maxKeyFrames)
    : m_facts(facts), m_maxKeyFrames(maxKeyFrames), m_file(target) {
  // Reserves what a copy of all key frames needs, so that Commit usually does not have to move the tags.
  const std::size_t keyCount = std::min(facts.keyPositions.size(), maxKeyFrames);
  m_audioSize = facts.audio.IsPresent() ? 1 : 0;
  m_videoSize = facts.video.IsPresent() ? 1 : 0;
  flv::MetadataValues values = MakeValues(0);
  values.keyTimes.resize(keyCount);
  values.keyPositions.resize(keyCount);
  m_reserved = MakeHead(values).size();
  m_audioSize = 0;
  m_videoSize = 0;
  m_pending.reserve(kWriteSize);
  m_pending.resize(m_reserved);
  m_size = m_reserved;
}

void FlvWriter::WriteTag(flv::TagType type, std::uint32_t time, std::span<const std::uint8_t> body) {
  if (body.size() > flv::kMaxBodySize) {
    throw host::HostError(fmt::format("a packet of {} bytes is too large for an FLV tag", body.size()));
  }
  const auto bodySize = static_cast<std::uint32_t>(body.size());
  const std::uint32_t tagSize = flv::kTagHeaderSize + bodySize;
  const flv::TagContent content = flv::ContentOf(static_cast<std::uint8_t>(type), body);
  const bool isVideo = type == flv::TagType::kVideo;
  if (isVideo && (content == flv::TagContent::kKeyFrame || content == flv::TagContent::kConfiguration)) {
    m_keys.push_back({m_size - m_reserved, time});
  }
  (isVideo ? m_videoSize : m_audioSize) += tagSize;
  if (!m_firstTime) m_firstTime = time;
  if (m_size == m_reserved || flv::TimeBetween(m_latestTime, time) > 0) m_latestTime = time;

  std::array<std::uint8_t, flv::kTagHeaderSize> header;
  flv::WriteTagHeader(header.data(), type, bodySize, time);
  Append(header);
  Append(body);
  AppendSizeField(tagSize);
  if (m_pending.size() >= kWriteSize) Flush();
}

void FlvWriter::Commit() {
  Flush();
  const std::size_t keyCount = std::min({m_keys.size(), m_maxKeyFrames, m_facts.keyPositions.size()});
  flv::MetadataValues values = MakeValues(keyCount);
  const std::uint64_t headSize = MakeHead(values).size();
  for (double& position : values.keyPositions) position += static_cast<double>(headSize);
  if (headSize < m_reserved) m_file.Remove(headSize, m_reserved);
  if (headSize > m_reserved) throw host::HostError("the metadata needs more space than was reserved");
  m_size -= m_reserved - headSize;
  values.fileSize = m_size;
  m_file.Overwrite(0, MakeHead(values));
  m_file.Commit();
}

std::vector<std::uint8_t> FlvWriter::MakeHead(const flv::MetadataValues& values) const {
  return flv::MakeFileStart(values.hasAudio, values.hasVideo, flv::MakeMetadata(m_facts, values));
}

/// Returns key positions relative to the first tag.
flv::MetadataValues FlvWriter::MakeValues(std::size_t keyCount) const {
  flv::MetadataValues values;
  values.hasAudio = m_audioSize > 0;
  values.hasVideo = m_videoSize > 0;
  values.audioSize = m_audioSize;
  values.videoSize = m_videoSize;
  const std::uint32_t lastDistance = std::max(m_facts.audio.lastDistance, m_facts.video.lastDistance);
  values.duration = m_firstTime ? Seconds(m_latestTime - *m_firstTime + lastDistance) : 0;
  values.lastTime = Seconds(m_latestTime);
  // If there are more key frames than keyCount, selects them at even distances.
  for (std::size_t i = 0; i < keyCount; ++i) {
    const KeyTag& key = m_keys[i * m_keys.size() / keyCount];
    values.keyTimes.push_back(Seconds(key.time));
    values.keyPositions.push_back(static_cast<double>(key.offset));
  }
  return values;
}

void FlvWriter::Append(std::span<const std::uint8_t> bytes) {
  m_pending.insert(m_pending.end(), bytes.begin(), bytes.end());
  m_size += bytes.size();
}

void FlvWriter::AppendSizeField(std::uint32_t size) {
  std::array<std::uint8_t, flv::kSizeFieldSize> field;
  flv::WriteNumber<4>(field.data(), size);
  Append(field);
}

void FlvWriter::Flush() {
  m_file.Write(m_pending);
  m_pending.clear();
}

}  // namespace qbflv::cli
