// A new file that takes the place of its target in one step, or disappears.
#pragma once

#include <cstdint>
#include <filesystem>
#include <span>

#include "host/file_descriptor.h"

namespace qbflv::host {

/// All operations throw HostError.
class TemporaryFile {
 public:
  /// Makes the file in the target's folder. A target that exists must be a regular file that may be written; a link
  /// stays, and the file that it names is the target.
  explicit TemporaryFile(const std::filesystem::path& target);
  TemporaryFile(const TemporaryFile&) = delete;
  TemporaryFile& operator=(const TemporaryFile&) = delete;
  /// Without Commit, nothing has happened.
  ~TemporaryFile();

  void Write(std::span<const std::uint8_t> bytes);

  /// Puts the file in the target's place.
  void Commit();

 private:
  void Create();
  [[noreturn]] void Fail(int errorNumber) const;

  std::filesystem::path m_target;
  std::filesystem::path m_path;
  FileDescriptor m_file;
};

}  // namespace qbflv::host
