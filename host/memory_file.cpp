// A file's bytes in memory, shared by all readers.
#include "host/memory_file.h"

#include <fstream>
#include <utility>

#include "host/host_error.h"
#include "host/system.h"

namespace qbflv::host {

MemoryFile MakeMemoryFile(std::uint64_t size) {
  auto bytes = std::make_shared_for_overwrite<std::uint8_t[]>(static_cast<std::size_t>(size));
  system::PreferLargePages({bytes.get(), static_cast<std::size_t>(size)});
  return {std::move(bytes), size};
}

MemoryFile ReadIntoMemory(const std::filesystem::path& path) {
  std::ifstream file(path, std::ios::binary | std::ios::ate);
  if (!file) throw HostError("cannot open " + path.string());
  const std::streamsize size = file.tellg();
  if (size < 0) throw HostError("cannot read " + path.string());
  MemoryFile memory = MakeMemoryFile(static_cast<std::uint64_t>(size));
  file.seekg(0);
  if (!file.read(reinterpret_cast<char*>(memory.bytes.get()), size)) throw HostError("cannot read " + path.string());
  return memory;
}

}  // namespace qbflv::host
