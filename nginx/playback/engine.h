// What all viewers of a server process share.
#pragma once

#include <cstddef>
#include <cstdint>
#include <filesystem>

#include "flv/view_cache.h"
#include "host/context.h"
#include "host/plugin_library.h"

namespace qbflv::server {

struct Engine {
  /// films: bytes for the layouts of films that were opened lately. Throws HostError.
  Engine(const std::filesystem::path& plugin, std::size_t filmBytes, std::uint32_t bytesReadAhead)
      : library(plugin), context(host::MakeContext()), films(filmBytes), readAhead(bytesReadAhead) {}

  host::PluginLibrary library;
  ComPtr<host::Context> context;
  flv::ViewCache films;
  std::uint32_t readAhead;
  /// Whether reads try the system's memory first. Otherwise every read is a task.
  bool triesPageCache = true;
};

}  // namespace qbflv::server
