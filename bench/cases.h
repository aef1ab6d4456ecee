// The cases that are measured with the plug-in and with libavformat.
#pragma once

#include <cstdint>
#include <string>

#include "bench/plugin.h"
#include "host/memory_file.h"

namespace qbflv::bench {

struct Input {
  std::string name;
  host::MemoryFile file;
};

/// Throws HostError if the plug-in or libavformat does not deliver every playable tag.
void CheckDelivery(const Plugin& plugin, const Input& input);

/// Each function registers one case with the benchmark library under "CASE, FILE/READER", for each reader. The
/// arguments must outlive the run.
void AddDeliver(const Plugin& plugin, const Input& input);
/// Delivery compared with a loop that only walks from tag to tag: the lower bound for any reader, since the position of
/// a tag depends on the tag before it. Both start with the file outside the processor's caches.
void AddTagWalk(const Plugin& plugin, const Input& input);
/// Delivery of a file with that many tags. Starts with the file outside the processor's caches.
void AddGrowth(const Plugin& plugin, const Input& input, std::uint32_t tags);
void AddOpen(const Plugin& plugin, const Input& input);
void AddOpenWithoutMetadata(const Plugin& plugin, const Input& input);
/// The pass that collects the facts for the repaired view, compared with the loop of AddTagWalk.
void AddPass(const Input& input);
/// The repaired view compared with the bare file: opening with a cached layout, opening with the pass, and delivery.
void AddRepaired(const Plugin& plugin, const Input& input);
/// Seeks after the whole file was played.
void AddWarmSeek(const Plugin& plugin, const Input& input);
/// The first seek in a newly opened file.
void AddColdSeek(const Plugin& plugin, const Input& input);
/// Many sessions that deliver packetsPerVisit packets each in rotation, compared with one session.
void AddMany(const Plugin& plugin, const Input& input, std::uint32_t packetsPerVisit);

}  // namespace qbflv::bench
