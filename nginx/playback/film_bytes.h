// The bytes of a film, which all of its viewers share.
#pragma once

#include <algorithm>
#include <cstdint>
#include <memory>
#include <vector>

#include "flv/file_source.h"
#include "nginx/playback/mapped_file.h"

namespace qbflv::server {

/// Reads copy nothing that need not be copied, and touch only what was loaded a short while ago, so that they do not
/// wait for the disk. A file that loses bytes reads as zeros there.
class FilmBytes final : public flv::ByteSource, public std::enable_shared_from_this<FilmBytes> {
 public:
  /// loadSize: bytes that are loaded at once. Null with errno on failure.
  static std::shared_ptr<FilmBytes> Map(std::shared_ptr<const flv::FileSource> file, std::size_t loadSize);

  std::int64_t ReadAt(std::uint64_t offset, std::span<std::uint8_t> bytes) const override;
  std::uint64_t Size() const override { return Bytes().size(); }
  flv::SharedBytes Share(std::uint64_t offset) const override;

  std::span<const std::uint8_t> Bytes() const { return m_mapped->Bytes(); }

  /// Whether a read of these bytes does not wait for the disk, as far as can be told.
  bool IsLoaded(std::uint64_t offset, std::uint64_t size) const {
    return LoadedEnd(offset, size) >= std::min(offset + size, Size());
  }
  /// Where the bytes end of which that is true; looks no further than the size.
  std::uint64_t LoadedEnd(std::uint64_t offset, std::uint64_t size) const;
  /// Reads the blocks of these bytes into memory; any thread may do that, and wait. False on failure.
  bool Load(std::uint64_t offset, std::uint64_t size) const;
  /// Tells IsLoaded that it has succeeded.
  void SetLoaded(std::uint64_t offset, std::uint64_t size);

  /// In s; changes each second.
  static std::uint32_t Now();

  /// Whether the file still has all of the bytes.
  bool IsWhole() const;
  /// Whether someone has got zeros for bytes that it has not. Needs no system call.
  bool HasLostBytes() const { return m_mapped->HasLostBytes(); }

 private:
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
  /// Of each block, when it was loaded, in s; 0 if never.
  std::vector<std::uint32_t> m_loadTimes;
};

/// The films that someone watches. Used by one thread.
class FilmLibrary {
 public:
  explicit FilmLibrary(std::size_t loadSize) : m_loadSize(loadSize) {}

  /// What others watch already if it is the same file in the same state. Null with errno on failure.
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
