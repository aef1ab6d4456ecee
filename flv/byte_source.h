// Where the bytes of a file come from.
#pragma once

#include <cstdint>
#include <memory>
#include <span>

namespace qbflv::flv {

/// Bytes that keep alive the block of which they are a part.
struct SharedBytes {
  std::shared_ptr<std::uint8_t[]> bytes;
  std::uint64_t size = 0;
};

/// May be read by several threads at once.
class ByteSource {
 public:
  static constexpr std::int64_t kReadFailed = -1;

  ByteSource() = default;
  ByteSource(const ByteSource&) = delete;
  ByteSource& operator=(const ByteSource&) = delete;
  virtual ~ByteSource() = default;

  /// Copies the bytes at offset. Returns how many: fewer than wanted only at the end of the source. kReadFailed leaves
  /// errno set.
  virtual std::int64_t ReadAt(std::uint64_t offset, std::span<std::uint8_t> bytes) const = 0;

  /// In bytes, as it is now.
  virtual std::uint64_t Size() const = 0;

  /// What is in memory anyway and need not be copied: the bytes from offset to the end of their block. Empty if there
  /// is no such block.
  virtual SharedBytes Share(std::uint64_t /*offset*/) const { return {}; }
};

/// Bytes in memory, which must not change.
class MemorySource final : public ByteSource {
 public:
  explicit MemorySource(SharedBytes memory) : m_memory(std::move(memory)) {}

  std::int64_t ReadAt(std::uint64_t offset, std::span<std::uint8_t> bytes) const override;
  std::uint64_t Size() const override { return m_memory.size; }
  SharedBytes Share(std::uint64_t offset) const override;

 private:
  const SharedBytes m_memory;
};

}  // namespace qbflv::flv
