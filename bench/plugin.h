// What every measurement of the plug-in needs.
#pragma once

#include <filesystem>

#include "host/context.h"
#include "host/plugin_library.h"

namespace qbflv::bench {

struct Plugin {
  explicit Plugin(const std::filesystem::path& path) : library(path), context(host::MakeContext().Query<IUnknown>()) {}

  host::PluginLibrary library;
  /// With an object factory; of the whole server.
  ComPtr<IUnknown> context;
};

}  // namespace qbflv::bench
