// A memory-mapped file that stays readable when the file is truncated.
#pragma once

#include <cstddef>
#include <cstdint>
#include <memory>
#include <span>

namespace qbflv::server {

/// Bytes that the file no longer has, or that cannot be read, read as zeros. The system sends SIGBUS for them, which
/// would end the process; a signal handler maps empty pages in their place.
class MappedFile {
 public:
  /// The address range of a mapped file, for the signal handler.
  struct Guard;

  /// Maps the first size bytes of a file. On failure returns null and sets errno. REQUIRES: size > 0.
  static std::unique_ptr<MappedFile> Map(int descriptor, std::size_t size);
  MappedFile(const MappedFile&) = delete;
  MappedFile& operator=(const MappedFile&) = delete;
  ~MappedFile();

  std::span<const std::uint8_t> Bytes() const { return m_bytes; }

  /// Reads bytes into memory, so that touching them soon does not wait for the disk. Blocks. On failure, or if the file
  /// no longer has these bytes, returns false and sets errno. REQUIRES: offset is inside the file. [any thread]
  bool Load(std::size_t offset, std::size_t size) const;

  /// Returns true if lost bytes have been read as zeros.
  bool HasLostBytes() const;

 private:
  MappedFile(std::span<const std::uint8_t> bytes, Guard& guard) : m_bytes(bytes), m_guard(guard) {}

  bool TouchPages(std::size_t begin, std::size_t end) const;

  const std::span<const std::uint8_t> m_bytes;
  Guard& m_guard;
};

}  // namespace qbflv::server
