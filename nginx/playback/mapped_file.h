// A file in the address space, guarded against the bytes that it may lose.
#pragma once

#include <cstddef>
#include <cstdint>
#include <memory>
#include <span>

namespace qbflv::server {

/// Whoever touches bytes that the file has no more, or that cannot be read, gets zeros. The system would end the
/// process; a signal handler puts empty pages in their place.
class MappedFile {
 public:
  /// What the signal handler knows of a file.
  struct Guard;

  /// size: not 0. Null with errno on failure.
  static std::unique_ptr<MappedFile> Map(int descriptor, std::size_t size);
  MappedFile(const MappedFile&) = delete;
  MappedFile& operator=(const MappedFile&) = delete;
  ~MappedFile();

  std::span<const std::uint8_t> Bytes() const { return m_bytes; }

  /// Reads bytes into memory, so that touching them soon does not wait for the disk. Waits itself, on any thread. False
  /// with errno if the file has fewer now, or cannot be read. offset: inside.
  bool Load(std::size_t offset, std::size_t size) const;

  /// Whether someone got zeros.
  bool HasLostBytes() const;

 private:
  MappedFile(std::span<const std::uint8_t> bytes, Guard& guard) : m_bytes(bytes), m_guard(guard) {}

  const std::span<const std::uint8_t> m_bytes;
  Guard& m_guard;
};

}  // namespace qbflv::server
