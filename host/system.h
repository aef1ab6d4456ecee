// What the host needs of the operating system and the C++ library does not offer.
#pragma once

#include <filesystem>
#include <string>

namespace qbflv::host::system {

/// File descriptors; -1 with errno on failure. Opening waits for nobody, not even for the other end of a named pipe.
int OpenForReading(const std::filesystem::path& path);
/// The file must not be there yet.
int CreateForWriting(const std::filesystem::path& path);

/// Waits until what was written is on the disk. False with errno on failure.
bool FlushToDisk(int descriptor);

/// A dynamic library, or null with a text that says why.
void* OpenLibrary(const std::filesystem::path& path, std::string& error);
void CloseLibrary(void* library);
/// Null when the library exports no such name.
void* FindExport(void* library, const char* name);

/// The running program; empty if it cannot be told.
std::filesystem::path ProgramPath();

}  // namespace qbflv::host::system
