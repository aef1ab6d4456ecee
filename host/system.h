// Functions of the operating system that the C++ library does not provide.
#pragma once

#include <cstdint>
#include <filesystem>
#include <span>
#include <string>

namespace qbflv::host::system {

/// Creates a file for reading and writing. Returns a file descriptor, or -1 with errno, also if the file exists.
int CreateNewFile(const std::filesystem::path& path);

/// Reads bytes at the offset. Returns their number, 0 at the end of the file, or -1 with errno.
std::int64_t ReadAt(int descriptor, std::uint64_t offset, std::span<std::uint8_t> bytes);

/// Writes all bytes. Returns false with errno on failure.
bool Write(int descriptor, std::span<const std::uint8_t> bytes);

/// Writes all bytes at an offset. Returns false with errno on failure.
bool WriteAt(int descriptor, std::uint64_t offset, std::span<const std::uint8_t> bytes);

/// Truncates the file to size bytes. Returns false with errno on failure.
bool Truncate(int descriptor, std::uint64_t size);

/// Gives the file the owner and group of another file, as far as the process may. Has no effect on Windows.
void CopyOwner(const std::filesystem::path& from, int descriptor);

/// Switches standard output to binary mode and returns its descriptor.
int BinaryOutput();

/// Waits until the written bytes are on the disk. Returns false with errno on failure.
bool FlushToDisk(int descriptor);

/// Asks the system to use large pages for memory that has not been written yet. Has no effect if it cannot.
void PreferLargePages(std::span<std::uint8_t> memory);

/// Returns the library's handle, or null with an error text.
void* OpenLibrary(const std::filesystem::path& path, std::string& error);
void CloseLibrary(void* library);
/// Returns null when the library does not export the name.
void* FindExport(void* library, const char* name);

/// Returns the path of the running program, or an empty path if it is unknown.
std::filesystem::path ProgramPath();

}  // namespace qbflv::host::system
