// Builds FLV files in memory, whole ones and ones that lie.
#include "tests/support/flv_builder.h"

#include <bit>

namespace qbflv::test {

namespace {

void Put(Bytes& to, std::uint64_t value, int bytes) {
  for (int i = bytes - 1; i >= 0; --i) to.push_back(static_cast<std::uint8_t>(value >> (8 * i)));
}

void Append(Bytes& to, const Bytes& from) { to.insert(to.end(), from.begin(), from.end()); }

void AppendText(Bytes& to, std::string_view text) {
  Put(to, text.size(), 2);
  to.insert(to.end(), text.begin(), text.end());
}

void AppendEntries(Bytes& to, const amf::Entries& entries) {
  for (const auto& [name, value] : entries) {
    AppendText(to, name);
    Append(to, value);
  }
  Put(to, 9, 3);
}

/// Overwrites bits from the most significant one of each byte on; what does not fit is left out.
void PutBits(Bytes& body, std::size_t& bit, std::uint32_t value, int count) {
  for (int i = count - 1; i >= 0; --i, ++bit) {
    if (bit / 8 >= body.size()) return;
    const auto mask = static_cast<std::uint8_t>(0x80 >> (bit % 8));
    std::uint8_t& byte = body[bit / 8];
    byte = static_cast<std::uint8_t>((value >> i & 1) != 0 ? byte | mask : byte & ~mask);
  }
}

Bytes Filled(std::size_t size, std::uint8_t first) {
  Bytes body(size);
  for (std::size_t i = 0; i < size; ++i) body[i] = static_cast<std::uint8_t>(i);
  if (size > 0) body[0] = first;
  return body;
}

}  // namespace

FlvBuilder::FlvBuilder(std::uint8_t flags, std::uint32_t dataOffset) : m_bytes{'F', 'L', 'V', 1, flags} {
  Put(m_bytes, dataOffset, 4);
  if (m_bytes.size() < dataOffset) m_bytes.resize(dataOffset, 0xEE);
  m_fields.push_back(Size());
  Put(m_bytes, 0, 4);
}

FlvBuilder& FlvBuilder::Tag(std::uint8_t type, std::uint32_t time, const Bytes& body,
                            std::optional<std::uint32_t> claimedSize) {
  const auto size = static_cast<std::uint32_t>(body.size());
  m_bytes.push_back(type);
  Put(m_bytes, claimedSize.value_or(size), 3);
  Put(m_bytes, time & 0xFFFFFF, 3);
  Put(m_bytes, time >> 24, 1);
  Put(m_bytes, 0, 3);
  Append(m_bytes, body);
  m_fields.push_back(Size());
  Put(m_bytes, size + 11, 4);
  return *this;
}

FlvBuilder& FlvBuilder::Audio(std::uint32_t time, std::size_t size) { return Tag(kAudioTag, time, AudioBody(size)); }

FlvBuilder& FlvBuilder::Video(std::uint32_t time, std::size_t size, bool key) {
  Bytes body = SorensenBody(3, 0, 0, size);
  if (!key) body[0] = 0x22;
  return Tag(kVideoTag, time, body);
}

FlvBuilder& FlvBuilder::Metadata(const Bytes& value) {
  Bytes body = amf::String("onMetaData");
  Append(body, value);
  return Tag(kScriptTag, 0, body);
}

FlvBuilder& FlvBuilder::Patch(std::uint32_t offset, std::uint32_t value) {
  Bytes four;
  Put(four, value, 4);
  for (std::uint32_t i = 0; i < 4; ++i) m_bytes.at(offset + i) = four[i];
  return *this;
}

Bytes AudioBody(std::size_t size, std::uint8_t first) { return Filled(size, first); }

Bytes VideoBody(std::size_t size, std::uint8_t first) { return Filled(size, first); }

Bytes SorensenBody(std::uint8_t sizeCode, std::uint32_t width, std::uint32_t height, std::size_t size) {
  Bytes body = Filled(size, 0x12);
  std::size_t bit = 8;
  PutBits(body, bit, 1, 17);  // start code
  PutBits(body, bit, 0, 5);   // version
  PutBits(body, bit, 0, 8);   // temporal reference
  PutBits(body, bit, sizeCode, 3);
  if (sizeCode > 1) return body;
  PutBits(body, bit, width, sizeCode == 0 ? 8 : 16);
  PutBits(body, bit, height, sizeCode == 0 ? 8 : 16);
  return body;
}

namespace amf {

Bytes Number(double value) {
  Bytes bytes{0};
  Put(bytes, std::bit_cast<std::uint64_t>(value), 8);
  return bytes;
}

Bytes Boolean(bool value) { return {1, static_cast<std::uint8_t>(value ? 1 : 0)}; }

Bytes String(std::string_view text) {
  Bytes bytes{2};
  AppendText(bytes, text);
  return bytes;
}

Bytes Null() { return {5}; }

Bytes Object(const Entries& entries) {
  Bytes bytes{3};
  AppendEntries(bytes, entries);
  return bytes;
}

Bytes MixedArray(const Entries& entries, std::optional<std::uint32_t> declared) {
  Bytes bytes{8};
  Put(bytes, declared.value_or(static_cast<std::uint32_t>(entries.size())), 4);
  AppendEntries(bytes, entries);
  return bytes;
}

Bytes Array(const std::vector<Bytes>& values, std::optional<std::uint32_t> declared) {
  Bytes bytes{10};
  Put(bytes, declared.value_or(static_cast<std::uint32_t>(values.size())), 4);
  for (const Bytes& value : values) Append(bytes, value);
  return bytes;
}

Bytes Numbers(const std::vector<double>& values) {
  std::vector<Bytes> numbers;
  numbers.reserve(values.size());
  for (const double value : values) numbers.push_back(Number(value));
  return Array(numbers);
}

Bytes KeyFrames(const std::vector<double>& times, const std::vector<double>& positions) {
  return Object({{"times", Numbers(times)}, {"filepositions", Numbers(positions)}});
}

}  // namespace amf

Bytes QuickMetadata(amf::Entries more) {
  amf::Entries entries{{"width", amf::Number(320)},
                       {"height", amf::Number(240)},
                       {"framerate", amf::Number(25)},
                       {"audiodatarate", amf::Number(64)},
                       {"videodatarate", amf::Number(300)}};
  entries.insert(entries.end(), more.begin(), more.end());
  return amf::MixedArray(entries);
}

FlvBuilder SmallFile() {
  FlvBuilder file(kBoth);
  file.Metadata(QuickMetadata({{"title", amf::String("Small")}}));
  file.Audio(0, 10).Video(0, 20).Audio(23, 11).Video(40, 21, false).Audio(46, 12);
  return file;
}

}  // namespace qbflv::test
