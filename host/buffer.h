// The host's byte buffers: they own their bytes or share a block with other buffers.
#pragma once

#include <cstdint>
#include <memory>
#include <span>
#include <string>
#include <string_view>

#include "host/com_object.h"
#include "host/pooled.h"

namespace qbflv::host {

class Buffer final : public ComObject<IQBBuffer>, public Pooled<Buffer> {
 public:
  Buffer() = default;
  /// Wraps the first size bytes without copying them.
  Buffer(std::shared_ptr<std::uint8_t[]> bytes, std::uint32_t size);

  Status Set(const std::uint8_t* bytes, std::uint32_t length) override;
  /// New bytes are 0. Growing copies the bytes; shrinking does not.
  Status SetSize(std::uint32_t size) override;
  std::uint32_t GetSize() override { return m_size; }
  std::uint8_t* GetBuffer() override { return m_bytes.get(); }

 private:
  std::shared_ptr<std::uint8_t[]> m_bytes;
  std::uint32_t m_size = 0;
};

/// Returns a buffer with the text and a terminating NUL.
ComPtr<IQBBuffer> MakeTextBuffer(std::string_view text);

/// Returns the bytes of a buffer, none for a null pointer.
std::span<const std::uint8_t> BufferBytes(IQBBuffer* buffer);

/// Returns the text in a buffer up to its first NUL, or all of it if there is none.
std::string_view BufferText(IQBBuffer* buffer);

/// Returns the bytes of a buffer as hexadecimal digits.
std::string BufferHex(IQBBuffer* buffer);

}  // namespace qbflv::host
