// The host's byte buffers: they own their bytes or share a block with other buffers.
#include "host/buffer.h"

#include <fmt/format.h>

#include <algorithm>
#include <utility>

namespace qbflv::host {

Buffer::Buffer(std::shared_ptr<std::uint8_t[]> bytes, std::uint32_t size) : m_bytes(std::move(bytes)), m_size(size) {}

Status Buffer::Set(const std::uint8_t* bytes, std::uint32_t length) {
  if (bytes == nullptr && length > 0) return kInvalidArgument;
  return WithoutThrowing([&] {
    auto copy = std::make_shared<std::uint8_t[]>(length);
    std::copy_n(bytes, length, copy.get());
    m_bytes = std::move(copy);
    m_size = length;
    return kOk;
  });
}

Status Buffer::SetSize(std::uint32_t size) {
  if (size <= m_size) {
    m_size = size;
    return kOk;
  }
  return WithoutThrowing([&] {
    auto larger = std::make_shared<std::uint8_t[]>(size);
    std::copy_n(m_bytes.get(), m_size, larger.get());
    m_bytes = std::move(larger);
    m_size = size;
    return kOk;
  });
}

ComPtr<IQBBuffer> MakeTextBuffer(std::string_view text) {
  auto bytes = std::make_shared<std::uint8_t[]>(text.size() + 1);
  std::copy(text.begin(), text.end(), bytes.get());
  return MakeObject<Buffer>(std::move(bytes), static_cast<std::uint32_t>(text.size() + 1)).Query<IQBBuffer>();
}

std::span<const std::uint8_t> BufferBytes(IQBBuffer* buffer) {
  if (buffer == nullptr || buffer->GetBuffer() == nullptr) return {};
  return {buffer->GetBuffer(), buffer->GetSize()};
}

std::string_view BufferText(IQBBuffer* buffer) {
  const std::span<const std::uint8_t> bytes = BufferBytes(buffer);
  const std::string_view whole(reinterpret_cast<const char*>(bytes.data()), bytes.size());
  return whole.substr(0, whole.find('\0'));
}

std::string BufferHex(IQBBuffer* buffer) {
  std::string hex;
  for (const std::uint8_t byte : BufferBytes(buffer)) hex += fmt::format("{:02x}", byte);
  return hex;
}

}  // namespace qbflv::host
