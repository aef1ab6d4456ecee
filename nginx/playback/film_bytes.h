// A film's bytes in memory, shared by all of its viewers.
#pragma once

#include <algorithm>
#include <cstdint>
#include <memory>
#include <vector>

#include "flv/file_source.h"
#include "nginx/playback/mapped_file.h"

namespace qbflv::server {

/// A mapped file that tracks which of its blocks were loaded recently, so that the worker does not wait for the disk.
/// Bytes that the file has lost read as zeros.
class FilmBytes final : public flv::ByteSource, public std::enable_shared_from_this<FilmBytes> {
 public:
  /// Maps the file. loadSize: the size of a block in bytes. On failure returns null and sets errno.
  static std::shared_ptr<FilmBytes> Map(std::shared_ptr<const flv::FileSource> file, std::size_t loadSize);

  std::int64_t ReadAt(std::uint64_t offset, std::span<std::uint8_t> bytes) const override;
  std::uint64_t Size() const override { return Bytes().size(); }
  flv::SharedBytes Share(std::uint64_t offset) const override;

  std::span<const std::uint8_t> Bytes() const { return m_mapped->Bytes(); }

  /// Returns true if all of these bytes were loaded recently, so that reading them probably does not block.
  bool IsLoaded(std::uint64_t offset, std::uint64_t size) const {
    return LoadedEnd(offset, size) >= std::min(offset + size, Size());
  }
  /// Returns the end of the recently loaded bytes that begin at offset; at least offset. Checks the blocks of the first
  /// size bytes only.
  std::uint64_t LoadedEnd(std::uint64_t offset, std::uint64_t size) const;
  /// Reads the blocks that contain these bytes into memory. Blocks. Returns false on failure. [any thread]
  bool Load(std::uint64_t offset, std::uint64_t size) const;
  /// Marks the blocks that contain these bytes as loaded now. Call it on the worker's thread after Load.
  void SetLoaded(std::uint64_t offset, std::uint64_t size);

  /// Returns a monotonic time in s. Never 0.
  static std::uint32_t Now();

  /// Returns true if the file still contains all of the bytes. Makes a system call.
  bool IsWhole() const;
  /// Returns true if lost bytes have been read as zeros. Makes no system call.
  bool HasLostBytes() const { return m_mapped->HasLostBytes(); }

 private:
  /// Numbers of the first block, and of the last block plus 1.
  struct Blocks {
    std::size_t first;
    std::size_t end;
  };

  FilmBytes(std::shared_ptr<const flv::FileSource> file, std::unique_ptr<const MappedFile> mapped,
            std::size_t loadSize);

  Blocks BlocksOf(std::uint64_t offset, std::uint64_t size) const;

  const std::shared_ptr<const flv::FileSource> m_file;
  const std::unique_ptr<const MappedFile> m_mapped;
  const std::size_t m_blockSize;
  /// The time when each block was last loaded, as returned by Now; 0 if never.
  std::vector<std::uint32_t> m_loadTimes;
};

/// The films that have viewers. Not thread-safe.
class FilmLibrary {
 public:
  explicit FilmLibrary(std::size_t loadSize) : m_loadSize(loadSize) {}

  /// Returns the bytes of a file. Viewers of the same file share them unless it was modified. On failure returns null
  /// and sets errno.
  std::shared_ptr<FilmBytes> Get(const std::shared_ptr<const flv::FileSource>& file);

 private:
  struct Entry {
    flv::FileIdentity file;
    std::weak_ptr<FilmBytes> film;
  };

  const std::size_t m_loadSize;
  std::vector<Entry> m_films;
};

}  // namespace qbflv::server
