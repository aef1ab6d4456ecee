// The results of one pass over an FLV file.
#include "flv/file_facts.h"

#include <algorithm>

namespace qbflv::flv {

namespace {

std::uint32_t Earlier(std::optional<std::uint32_t> a, std::optional<std::uint32_t> b) {
  if (!a || !b) return a.value_or(b.value_or(0));
  return std::min(*a, *b);
}

std::size_t MetadataSize(const std::optional<OwnMetadata>& metadata) {
  // A decoded value takes about five times the memory of the encoded one.
  if (!metadata) return 0;
  return AmfSize(metadata->values) * 5 + (metadata->keyTimes.size() + metadata->keyPositions.size()) * sizeof(double);
}

}  // namespace

double StreamFacts::BitRate() const {
  if (!firstTime) return 0;
  return static_cast<double>(bytes) * 8000 / std::max<std::uint32_t>(Duration(), 1);
}

double VideoFacts::FrameRate() const {
  if (frames < 2 || latestContinuedTime == firstContinuedTime) return 0;
  return static_cast<double>(frames - 1) * 1000 / (latestContinuedTime - firstContinuedTime);
}

const Run& FileFacts::RunOf(std::uint32_t tag) const {
  return *(std::ranges::upper_bound(runs, tag, {}, &Run::firstTag) - 1);
}

std::uint32_t FileFacts::TagAt(std::uint64_t offset) const {
  const auto next = std::ranges::upper_bound(runs, offset, {}, &Run::offset);
  if (next == runs.begin()) return 0;
  const auto run = next - 1;
  const std::uint64_t inRun = offset - run->offset;
  const auto begin = tagOffsets.begin() + run->firstTag;
  const auto end = tagOffsets.begin() + EndOfRun(static_cast<std::size_t>(run - runs.begin()));
  return static_cast<std::uint32_t>(std::lower_bound(begin, end, inRun) - tagOffsets.begin());
}

const std::vector<std::uint8_t>* FileFacts::ConfigurationBefore(std::uint32_t tag, TagType type) const {
  const std::vector<std::uint8_t>* last = nullptr;
  for (const Configuration& configuration : configurations) {
    if (configuration.tag >= tag) break;
    if (configuration.type == type) last = &configuration.body;
  }
  return last;
}

std::uint32_t FileFacts::TimeBase() const { return Earlier(audio.beginTime, video.beginTime); }

std::uint32_t FileFacts::FirstFrameTime() const { return Earlier(audio.firstTime, video.firstTime); }

std::size_t FileFacts::MemoryUse() const {
  std::size_t configurationSize = 0;
  for (const Configuration& configuration : configurations) {
    configurationSize += sizeof(configuration) + configuration.body.capacity();
  }
  return sizeof(*this) + configurationSize + MetadataSize(metadata) + damages.Places().capacity() * sizeof(Damage) +
         runs.capacity() * sizeof(Run) + tagOffsets.capacity() * sizeof(std::uint32_t) +
         keyPositions.capacity() * sizeof(KeyPosition) + continuations.capacity() * sizeof(Continuation);
}

}  // namespace qbflv::flv
