// What all viewers of a server process share.
#pragma once

#include <cstddef>
#include <cstdint>
#include <filesystem>

#include "flv/view_cache.h"
#include "host/context.h"
#include "host/plugin_library.h"
#include "nginx/playback/film_bytes.h"

namespace qbflv::server {

struct Engine {
  /// layoutBytes: for the layouts of films that were opened lately. readAhead: bytes of a film that are loaded at once.
  /// Throws HostError.
  Engine(const std::filesystem::path& plugin, std::size_t layoutBytes, std::size_t readAhead)
      : library(plugin), context(host::MakeContext()), layouts(layoutBytes), films(readAhead) {}

  host::PluginLibrary library;
  ComPtr<host::Context> context;
  flv::ViewCache layouts;
  /// For the worker alone.
  FilmLibrary films;
  /// Bytes that one object of the plug-in reads, which has 32-bit offsets.
  std::uint64_t largestPart = flv::ViewOptions().largestSize;
};

}  // namespace qbflv::server
