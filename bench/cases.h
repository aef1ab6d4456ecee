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
/// Delivery of a file with that many tags, also outside the caches.
void AddGrowth(const Plugin& plugin, const Input& input, std::uint32_t tags);
void AddOpen(const Plugin& plugin, const Input& input);
void AddOpenWithoutMetadata(const Plugin& plugin, const Input& input);
/// The pass that finds out what the repaired view needs, compared with the plain loop.
void AddPass(const Input& input);
/// Through the repaired view, compared with the bare file: opening with the layout from the cache, opening with the
/// pass, and delivery.
void AddRepaired(const Plugin& plugin, const Input& input);
/// After a full play.
void AddWarmSeek(const Plugin& plugin, const Input& input);
/// In a newly opened file.
void AddColdSeek(const Plugin& plugin, const Input& input);
/// Many sessions that deliver packetsPerVisit packets each in rotation, compared with one session.
void AddMany(const Plugin& plugin, const Input& input, std::uint32_t packetsPerVisit);

}  // namespace qbflv::bench
