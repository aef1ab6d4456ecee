// The cases: what is measured of the plug-in and of libavformat, on which file.
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

/// Each registers with the benchmark library under "CASE, FILE/SIDE", measures both sides, and needs its arguments to
/// the end. The check that both sides deliver the same comes first; it throws HostError.
void CheckDelivery(const Plugin& plugin, const Input& input);
void AddDeliver(const Plugin& plugin, const Input& input);
/// Delivery beside the least that anybody can do, since a tag's place is known from the one before it only. Both begin
/// with nothing of the file in the processor's caches.
void AddTagWalk(const Plugin& plugin, const Input& input);
/// Delivery of a file of that many tags, which is not in the caches either.
void AddGrowth(const Plugin& plugin, const Input& input, std::uint32_t tags);
void AddOpen(const Plugin& plugin, const Input& input);
void AddOpenWithoutMetadata(const Plugin& plugin, const Input& input);
/// After a full play.
void AddWarmSeek(const Plugin& plugin, const Input& input);
/// In a file that was just opened.
void AddColdSeek(const Plugin& plugin, const Input& input);
/// Many sessions asked in turn for so many packets each, beside one that is asked in the same way.
void AddMany(const Plugin& plugin, const Input& input, std::uint32_t packetsInATurn);

}  // namespace qbflv::bench
