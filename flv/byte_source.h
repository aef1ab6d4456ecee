// Random access to the bytes of a file: the interface, and a source in memory.
#pragma once

#include <cstdint>
#include <memory>
#include <span>

namespace qbflv::flv {

/// A range of bytes that keeps the block of memory around it alive.
struct SharedBytes {
  std::shared_ptr<std::uint8_t[]> bytes;
  std::uint64_t size = 0;
};

/// Several threads may read one source at the same time.
class ByteSource {
 public:
  static constexpr std::int64_t kReadFailed = -1;

  ByteSource() = default;
  ByteSource(const ByteSource&) = delete;
  ByteSource& operator=(const ByteSource&) = delete;
  virtual ~ByteSource() = default;

  /// Copies the bytes at offset. Returns their number, which is less than bytes.size() only at the end of the source.
  /// On failure returns kReadFailed and sets errno.
  virtual std::int64_t ReadAt(std::uint64_t offset, std::span<std::uint8_t> bytes) const = 0;

  /// Returns the current size in bytes.
  virtual std::uint64_t Size() const = 0;

  /// Returns the bytes from offset to the end of the block that contains them, without copying. Returns an empty range
  /// if the source has no such block in memory.
  virtual SharedBytes Share(std::uint64_t /*offset*/) const { return {}; }
};

/// A source in memory. The bytes must not change.
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
