// What the host needs of the operating system and the C++ library does not offer.
#pragma once

#include <cstdint>
#include <filesystem>
#include <span>
#include <string>

namespace qbflv::host::system {

/// File descriptors; -1 with errno on failure. Opening waits for nobody, not even for the other end of a named pipe.
int OpenForReading(const std::filesystem::path& path);
/// The file must not be there yet.
int CreateForWriting(const std::filesystem::path& path);

struct FileStatus {
  bool isRegular = false;
  bool isDirectory = false;
  /// In bytes.
  std::uint64_t size = 0;
};

/// False with errno on failure.
bool GetStatus(int descriptor, FileStatus& status);

/// Reads from that offset on; answers the number of bytes, 0 at the end of the file, or -1 with errno on failure.
std::int64_t ReadAt(int descriptor, std::uint64_t offset, std::span<std::uint8_t> bytes);

/// Writes all of it. False with errno on failure.
bool Write(int descriptor, std::span<const std::uint8_t> bytes);

/// Waits until what was written is on the disk. False with errno on failure.
bool FlushToDisk(int descriptor);

/// Asks for large pages behind memory that was not written to yet; what cannot be had is left as it is.
void PreferLargePages(std::span<std::uint8_t> memory);

/// A dynamic library, or null with a text that says why.
void* OpenLibrary(const std::filesystem::path& path, std::string& error);
void CloseLibrary(void* library);
/// Null when the library exports no such name.
void* FindExport(void* library, const char* name);

/// The running program; empty if it cannot be told.
std::filesystem::path ProgramPath();

}  // namespace qbflv::host::system
