// A new file that replaces its target atomically, or is removed.
#pragma once

#include <cstdint>
#include <filesystem>
#include <span>

#include "host/file_descriptor.h"

namespace qbflv::cli {

/// All functions throw HostError.
class TemporaryFile {
 public:
  /// Creates the file in the target's folder. An existing target must be a writable regular file; if it is a symbolic
  /// link, Commit replaces the file that it points to. The target "-" is standard output; the file is then in the
  /// system's folder for temporary files.
  explicit TemporaryFile(const std::filesystem::path& target);
  TemporaryFile(const TemporaryFile&) = delete;
  TemporaryFile& operator=(const TemporaryFile&) = delete;
  /// Removes the file if there was no Commit.
  ~TemporaryFile();

  /// Appends.
  void Write(std::span<const std::uint8_t> bytes);
  /// Replaces bytes that were written before.
  void Overwrite(std::uint64_t offset, std::span<const std::uint8_t> bytes);
  /// Removes the bytes from begin to end and moves the rest forward. Call it after the last Write.
  void Remove(std::uint64_t begin, std::uint64_t end);

  /// Replaces the target, or copies the file to standard output.
  void Commit();

 private:
  void Create(const std::filesystem::path& folder);
  std::size_t Read(std::uint64_t offset, std::span<std::uint8_t> bytes) const;
  void CopyToOutput();
  [[noreturn]] void Fail(int errorNumber) const;

  const bool m_isOutput;
  const std::filesystem::path m_target;
  std::filesystem::path m_path;
  host::FileDescriptor m_file;
  /// Size of the file in bytes.
  std::uint64_t m_size = 0;
};

}  // namespace qbflv::cli
