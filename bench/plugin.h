// The loaded plug-in and its context, which all measurements share.
#pragma once

#include <filesystem>

#include "host/context.h"
#include "host/plugin_library.h"

namespace qbflv::bench {

struct Plugin {
  explicit Plugin(const std::filesystem::path& path) : library(path), context(host::MakeContext().Query<IUnknown>()) {}

  host::PluginLibrary library;
  /// Provides an object factory.
  ComPtr<IUnknown> context;
};

}  // namespace qbflv::bench
