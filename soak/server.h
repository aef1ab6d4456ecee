// The parts that all clients of one server share: the library, the host's context, and the files.
#pragma once

#include <filesystem>
#include <string>
#include <vector>

#include "host/memory_file.h"
#include "soak/client.h"

namespace qbflv::soak {

class Server {
 public:
  /// Loads the library, reads the files and plays each of them once. Throws HostError, also for a file that does not
  /// play.
  Server(const std::filesystem::path& plugin, const std::vector<std::string>& files);

  const host::PluginLibrary& Library() const { return m_library; }
  IUnknown* Context() const { return m_context.Get(); }
  std::size_t FileCount() const { return m_files.size(); }
  host::BlockReader Open(std::size_t file) const { return m_files[file].Open(); }
  /// Returns what the file's streams deliver to a single client.
  const std::vector<Digest>& Expected(std::size_t file) const { return m_expected[file]; }

  /// Returns true if no object of the library exists.
  bool IsEmpty() const { return m_library.CanUnload(); }

 private:
  host::PluginLibrary m_library;
  ComPtr<IUnknown> m_context;
  std::vector<host::MemoryFile> m_files;
  std::vector<std::vector<Digest>> m_expected;
};

}  // namespace qbflv::soak
