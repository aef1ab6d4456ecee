// The state that all viewers of a server process share.
#pragma once

#include <cstddef>
#include <cstdint>
#include <filesystem>

#include "flv/view_cache.h"
#include "host/context.h"
#include "host/plugin_library.h"
#include "nginx/playback/film_bytes.h"
#include "nginx/playback/film_passes.h"

namespace qbflv::server {

struct Engine {
  /// Loads the plug-in. Throws HostError.
  /// layoutBytes: memory limit for the layouts of recently opened films. readAhead: block size for loading films.
  Engine(const std::filesystem::path& plugin, std::size_t layoutBytes, std::size_t readAhead)
      : library(plugin), context(host::MakeContext()), layouts(layoutBytes), films(readAhead) {}

  host::PluginLibrary library;
  ComPtr<host::Context> context;
  flv::ViewCache layouts;
  // Used by the worker's thread only.
  FilmLibrary films;
  FilmPasses passes;
  /// Maximum size of the view that one object of the plug-in reads. The plug-in has 32-bit offsets.
  std::uint64_t largestPart = flv::ViewOptions().largestSize;
};

}  // namespace qbflv::server
