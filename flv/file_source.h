// A byte source that reads from a file.
#pragma once

#include <cstdint>
#include <filesystem>
#include <memory>

#include "flv/byte_source.h"

namespace qbflv::flv {

/// Identifies a file and its current content. Two identities differ if the files differ or the file was modified.
struct FileIdentity {
  std::uint64_t device = 0;
  std::uint64_t inode = 0;
  /// Size in bytes.
  std::uint64_t size = 0;
  /// Time of the last modification in ns. The epoch depends on the operating system.
  std::int64_t modified = 0;

  auto operator<=>(const FileIdentity&) const = default;
};

enum class FileKind { kRegular, kDirectory, kOther };

class FileSource final : public ByteSource {
 public:
  /// Opens a file of any kind. Does not block, not even until the other end of a named pipe is open. On failure returns
  /// null and sets errno.
  static std::shared_ptr<FileSource> Open(const std::filesystem::path& path);

  /// Takes ownership of an open file descriptor.
  explicit FileSource(int descriptor) : m_descriptor(descriptor) {}
  ~FileSource() override;

  std::int64_t ReadAt(std::uint64_t offset, std::span<std::uint8_t> bytes) const override;
  /// Returns the current size in bytes; 0 if it is unknown.
  std::uint64_t Size() const override;

  /// Returns the file descriptor, which this object closes.
  int Descriptor() const { return m_descriptor; }

  /// Gets the current identity and the kind. On failure returns false and sets errno.
  bool GetIdentity(FileIdentity& identity, FileKind& kind) const;

 private:
  const int m_descriptor;
};

}  // namespace qbflv::flv
