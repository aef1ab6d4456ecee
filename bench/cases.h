// The cases: what is measured of the plug-in and of libavformat, on which file.
#pragma once

#include <filesystem>
#include <string>
#include <vector>

#include "host/memory_file.h"
#include "host/plugin_library.h"

namespace qbflv::bench {

struct Input {
  std::string name;
  host::MemoryFile file;
};

/// What every measurement of the plug-in needs.
struct Plugin {
  explicit Plugin(const std::filesystem::path& path);

  host::PluginLibrary library;
  ComPtr<IUnknown> context;
};

/// Each registers with the benchmark library under "CASE, FILE/SIDE", measures every file on both sides, and needs its
/// arguments to the end. The check that both sides deliver the same comes first; it throws HostError.
void CheckDelivery(const Plugin& plugin, const Input& input);
void AddDeliver(const Plugin& plugin, const Input& input, const std::string& name);
void AddOpen(const Plugin& plugin, const Input& input, const std::string& name);
/// After a full play.
void AddWarmSeek(const Plugin& plugin, const Input& input, const std::string& name);
/// In a file that was just opened.
void AddColdSeek(const Plugin& plugin, const Input& input, const std::string& name);
/// Many sessions asked in turn, beside one that is asked in the same way.
void AddMany(const Plugin& plugin, const Input& input, const std::string& name, std::size_t sessions);

}  // namespace qbflv::bench
