// The host's blocks of bytes: owned, or slices of blocks that several buffers share.
#pragma once

#include <cstdint>
#include <memory>
#include <span>
#include <string_view>

#include "host/com_object.h"
#include "host/pooled.h"

namespace qbflv::host {

class Buffer final : public ComObject<IQBBuffer>, public Pooled<Buffer> {
 public:
  Buffer() = default;
  /// A buffer over the first size bytes, which stay shared with whoever else holds them.
  Buffer(std::shared_ptr<std::uint8_t[]> bytes, std::uint32_t size);

  Status Set(const std::uint8_t* bytes, std::uint32_t length) override;
  /// Bytes beyond the old size are 0. Only growing copies a shared block.
  Status SetSize(std::uint32_t size) override;
  std::uint32_t GetSize() override { return m_size; }
  std::uint8_t* GetBuffer() override { return m_bytes.get(); }

 private:
  std::shared_ptr<std::uint8_t[]> m_bytes;
  std::uint32_t m_size = 0;
};

/// A buffer with the text and its NUL.
ComPtr<IQBBuffer> MakeTextBuffer(std::string_view text);

/// The bytes of a buffer; none for a null one.
std::span<const std::uint8_t> BufferBytes(IQBBuffer* buffer);

/// The text in a buffer: up to its first NUL, or all of it if it has none.
std::string_view BufferText(IQBBuffer* buffer);

}  // namespace qbflv::host
