// A file of the file system as a byte source.
#pragma once

#include <cstdint>
#include <filesystem>
#include <memory>

#include "flv/byte_source.h"

namespace qbflv::flv {

/// Tells two states of a file apart, and two files.
struct FileIdentity {
  std::uint64_t device = 0;
  std::uint64_t inode = 0;
  /// In bytes.
  std::uint64_t size = 0;
  /// Of the last modification, in ns; its origin is the system's.
  std::int64_t modified = 0;

  auto operator<=>(const FileIdentity&) const = default;
};

enum class FileKind { kRegular, kDirectory, kOther };

class FileSource final : public ByteSource {
 public:
  /// Opens a file of any kind without waiting, not even for the other end of a named pipe. Null with errno on failure.
  static std::shared_ptr<FileSource> Open(const std::filesystem::path& path);

  /// Takes ownership of an open descriptor.
  explicit FileSource(int descriptor) : m_descriptor(descriptor) {}
  ~FileSource() override;

  std::int64_t ReadAt(std::uint64_t offset, std::span<std::uint8_t> bytes) const override;
  /// 0 if it cannot be told.
  std::uint64_t Size() const override;

  /// Stays this object's.
  int Descriptor() const { return m_descriptor; }

  /// As they are now. False with errno on failure.
  bool GetIdentity(FileIdentity& identity, FileKind& kind) const;

 private:
  const int m_descriptor;
};

}  // namespace qbflv::flv
