// A film's bytes in memory, shared by all of its viewers.
#include "nginx/playback/film_bytes.h"

#include <algorithm>
#include <cstring>
#include <ctime>
#include <utility>

namespace qbflv::server {

namespace {

/// Time in s after which a block no longer counts as loaded, because the system may have evicted it.
constexpr std::uint32_t kLoadedTime = 30;

}  // namespace

std::shared_ptr<FilmBytes> FilmBytes::Map(std::shared_ptr<const flv::FileSource> file, std::size_t loadSize) {
  auto mapped = MappedFile::Map(file->Descriptor(), static_cast<std::size_t>(file->Size()));
  if (!mapped) return nullptr;
  return std::shared_ptr<FilmBytes>(new FilmBytes(std::move(file), std::move(mapped), loadSize));
}

FilmBytes::FilmBytes(std::shared_ptr<const flv::FileSource> file, std::unique_ptr<const MappedFile> mapped,
                     std::size_t loadSize)
    : m_file(std::move(file)),
      m_mapped(std::move(mapped)),
      m_blockSize(loadSize),
      m_loadTimes(m_mapped->Bytes().size() / loadSize + 1) {}

std::int64_t FilmBytes::ReadAt(std::uint64_t offset, std::span<std::uint8_t> bytes) const {
  if (offset >= Size()) return 0;
  const auto wanted = Bytes().subspan(static_cast<std::size_t>(offset));
  const std::size_t count = std::min(wanted.size(), bytes.size());
  std::memcpy(bytes.data(), wanted.data(), count);
  return HasLostBytes() ? kReadFailed : static_cast<std::int64_t>(count);
}

flv::SharedBytes FilmBytes::Share(std::uint64_t offset) const {
  if (offset >= Size()) return {};
  const auto rest = Bytes().subspan(static_cast<std::size_t>(offset));
  // Users of shared bytes do not write to them.
  return {{shared_from_this(), const_cast<std::uint8_t*>(rest.data())}, rest.size()};
}

std::uint64_t FilmBytes::LoadedEnd(std::uint64_t offset, std::uint64_t size) const {
  const Blocks blocks = BlocksOf(offset, size);
  const std::uint32_t now = Now();
  std::size_t block = blocks.first;
  while (block < blocks.end && m_loadTimes[block] != 0 && now - m_loadTimes[block] <= kLoadedTime) ++block;
  return block == blocks.first ? offset : std::min<std::uint64_t>(block * m_blockSize, Size());
}

bool FilmBytes::Load(std::uint64_t offset, std::uint64_t size) const {
  const Blocks blocks = BlocksOf(offset, size);
  if (blocks.first == blocks.end) return true;
  const std::uint64_t end = std::min<std::uint64_t>(blocks.end * m_blockSize, Size());
  const std::size_t begin = blocks.first * m_blockSize;
  // Compare the size, too: a page that contains the new end of a truncated file loads without an error.
  return m_mapped->Load(begin, static_cast<std::size_t>(end) - begin) && m_file->Size() >= end;
}

void FilmBytes::SetLoaded(std::uint64_t offset, std::uint64_t size) {
  const Blocks blocks = BlocksOf(offset, size);
  std::fill(m_loadTimes.begin() + static_cast<std::ptrdiff_t>(blocks.first),
            m_loadTimes.begin() + static_cast<std::ptrdiff_t>(blocks.end), Now());
}

std::uint32_t FilmBytes::Now() {
  // The coarse clock needs no system call.
  timespec now{};
  clock_gettime(CLOCK_MONOTONIC_COARSE, &now);
  return static_cast<std::uint32_t>(now.tv_sec) + 1;
}

bool FilmBytes::IsWhole() const { return !HasLostBytes() && m_file->Size() >= Size(); }

/// Ignores bytes outside the film.
FilmBytes::Blocks FilmBytes::BlocksOf(std::uint64_t offset, std::uint64_t size) const {
  if (offset >= Size() || size == 0) return {0, 0};
  const std::uint64_t last = offset + std::min(size, Size() - offset) - 1;
  return {static_cast<std::size_t>(offset / m_blockSize), static_cast<std::size_t>(last / m_blockSize) + 1};
}

std::shared_ptr<FilmBytes> FilmLibrary::Get(const std::shared_ptr<const flv::FileSource>& file) {
  flv::FileIdentity identity;
  flv::FileKind kind{};
  if (!file->GetIdentity(identity, kind)) return nullptr;
  for (const Entry& entry : m_films) {
    if (entry.file != identity) continue;
    if (auto film = entry.film.lock()) return film;
  }
  std::erase_if(m_films, [](const Entry& entry) { return entry.film.expired(); });
  auto film = FilmBytes::Map(file, m_loadSize);
  if (film) m_films.push_back({identity, film});
  return film;
}

}  // namespace qbflv::server
