// The tests' own reading and writing of FLV files, independent of the plug-in and its host.
#include "tests/e2e/flv_file.h"

#include <zlib.h>

#include <algorithm>
#include <iterator>
#include <stdexcept>

namespace qbflv::e2e {

namespace {

constexpr std::size_t kFileHeaderSize = 9;
constexpr std::size_t kTagHeaderSize = 11;
constexpr std::size_t kSizeFieldSize = 4;

std::uint32_t Number(const std::string& bytes, std::size_t at, int count) {
  std::uint32_t number = 0;
  for (int i = 0; i < count; ++i) number = number << 8 | static_cast<std::uint8_t>(bytes[at++]);
  return number;
}

void AppendNumber(std::string& bytes, std::size_t number, int count) {
  while (count-- > 0) bytes.push_back(static_cast<char>(number >> (8 * count) & 0xFF));
}

}  // namespace

std::uint32_t Tag::Checksum() const {
  return static_cast<std::uint32_t>(crc32_z(0, reinterpret_cast<const Bytef*>(body.data()), body.size()));
}

std::vector<Tag> FlvFile::TagsOfType(std::uint8_t type) const {
  std::vector<Tag> some;
  std::copy_if(tags.begin(), tags.end(), std::back_inserter(some), [=](const Tag& tag) { return tag.type == type; });
  return some;
}

FlvFile ParseFlv(const std::string& bytes) {
  if (bytes.size() < kFileHeaderSize || bytes.compare(0, 3, "FLV") != 0) throw std::runtime_error("not an FLV file");
  FlvFile file;
  file.hasAudio = (bytes[4] & 4) != 0;
  file.hasVideo = (bytes[4] & 1) != 0;
  std::size_t at = Number(bytes, 5, 4);
  while (at + kSizeFieldSize + kTagHeaderSize <= bytes.size()) {
    at += kSizeFieldSize;
    const std::size_t size = Number(bytes, at + 1, 3);
    if (at + kTagHeaderSize + size > bytes.size()) break;
    const std::uint32_t time = Number(bytes, at + 4, 3) | Number(bytes, at + 7, 1) << 24;
    file.tags.push_back({static_cast<std::uint8_t>(bytes[at]), time, bytes.substr(at + kTagHeaderSize, size)});
    at += kTagHeaderSize + size;
  }
  return file;
}

std::string FormatFlv(const FlvFile& file, bool hasSizes) {
  std::string bytes("FLV\x01", 4);
  AppendNumber(bytes, (file.hasAudio ? 4U : 0U) | (file.hasVideo ? 1U : 0U), 1);
  AppendNumber(bytes, kFileHeaderSize, 4);
  AppendNumber(bytes, 0, 4);
  for (const Tag& tag : file.tags) {
    AppendNumber(bytes, tag.type, 1);
    AppendNumber(bytes, tag.body.size(), 3);
    AppendNumber(bytes, tag.time, 3);
    AppendNumber(bytes, tag.time >> 24, 1);
    AppendNumber(bytes, 0, 3);
    bytes += tag.body;
    AppendNumber(bytes, hasSizes ? kTagHeaderSize + tag.body.size() : 0, 4);
  }
  return bytes;
}

}  // namespace qbflv::e2e
