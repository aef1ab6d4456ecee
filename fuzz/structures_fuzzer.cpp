// Compares the seek index and the merge sorter with simple models of them.
#include <algorithm>
#include <deque>
#include <optional>
#include <utility>
#include <vector>

#include "fuzz/target.h"
#include "host/buffer.h"
#include "host/packet.h"
#include "plugin/index/stream_index_table.h"
#include "plugin/reader/merge_sorter.h"
#include "tests/support/decisions.h"

namespace qbflv::fuzz {
namespace {

/// Returns a time or an offset: mostly a small step from the last one, sometimes any number.
std::uint32_t Near(test::Decisions& decisions, std::uint32_t last) {
  const std::uint8_t how = decisions.Byte();
  if (how < 192) return last + how;
  return how < 240 ? last - decisions.Byte() : decisions.Number(4);
}

void TryIndex(test::Decisions& decisions) {
  std::uint32_t granularity = decisions.Choose(4) == 0 ? decisions.Number(2) : 50;
  const std::uint32_t capacity = decisions.Byte();
  CStreamIndexTable table;
  Require(table.Init(granularity, capacity, 1) == kOk, "a table is created");
  std::vector<std::pair<std::uint32_t, std::uint32_t>> model;
  std::uint32_t highest = 0;
  std::uint32_t last = 0;
  while (!decisions.IsOver()) {
    last = Near(decisions, last);
    switch (decisions.Choose(4)) {
      case 0: {
        const bool fits = model.size() < capacity;
        const bool follows = model.empty() || (last > model.back().first && last - model.back().first >= granularity);
        const std::uint32_t offset = decisions.Number(2);
        const Status taken = table.AddEntry(last, offset, offset + 1ULL);
        Require(taken == (fits && follows ? kOk : kFailed), "an entry is added or refused");
        if (!fits || !follows) break;
        model.emplace_back(last, offset);
        highest = std::max(highest, last);
        break;
      }
      case 1:
        highest = std::max(highest, last);
        Require(table.NoteTime(last) == highest, "the highest time is recorded");
        if (decisions.Choose(8) == 7) table.SetGranularity(granularity = decisions.Byte());
        if (decisions.Choose(32) == 31) {
          Require(table.Init(granularity, capacity, 1) == kOk, "a table is created again");
          model.clear();
          highest = 0;
        }
        break;
      default: {
        const std::uint32_t coveredUpTo = model.empty() ? 0 : model.back().first;
        Require(table.IsCovered(last) == (last <= coveredUpTo ? 1 : 0), "the times up to the last entry are covered");
        const auto behind =
            std::find_if(model.begin(), model.end(), [&](const auto& entry) { return entry.first > last; });
        std::uint32_t time = last;
        std::uint32_t offset = 0xABCD;
        std::uint64_t extra = 0;
        const Status status = table.Lookup(&time, &offset, &extra);
        if (behind == model.begin()) {
          Require(status == kFailed && time == last && offset == 0xABCD, "no entry is at or before the time");
          break;
        }
        const auto& expected = *std::prev(behind);
        Require(status == (highest < last ? kBeyondSeen : kOk), "a time beyond the highest one is recognised");
        Require(time == expected.first && offset == expected.second, "the latest entry is found");
        Require(extra == expected.second + 1ULL, "with what was stored beside it");
      }
    }
  }
}

struct ModelPacket {
  std::uint32_t time;
  std::uint32_t size;
};

struct ModelQueue {
  std::deque<ModelPacket> packets;
  std::uint32_t latest = 0;
  bool ended = false;
};

bool IsEarlier(std::uint32_t time, std::uint32_t than) { return static_cast<std::int32_t>(than - time) > 0; }

/// Returns the stream of the next packet, or the reason why there is none.
std::pair<Status, std::uint16_t> NextOf(const std::vector<ModelQueue>& queues, const MergeSorterLimits& limits) {
  bool waiting = false;
  std::uint32_t count = 0;
  std::uint32_t bytes = 0;
  std::uint32_t latest = 0;
  std::optional<std::uint16_t> next;
  for (std::uint16_t i = 0; i < queues.size(); ++i) {
    const ModelQueue& queue = queues[i];
    if (queue.packets.empty()) {
      waiting = waiting || !queue.ended;
      continue;
    }
    for (const ModelPacket& packet : queue.packets) bytes += packet.size;
    count += static_cast<std::uint32_t>(queue.packets.size());
    if (!next || IsEarlier(latest, queue.latest)) latest = queue.latest;
    if (!next || IsEarlier(queue.packets.front().time, queues[*next].packets.front().time)) next = i;
  }
  if (!next) return {waiting ? kMustWait : kAllStreamsEnded, std::uint16_t{0}};
  const auto span = static_cast<std::int32_t>(latest - queues[*next].packets.front().time);
  const bool passed =
      std::int64_t{span} > std::int64_t{limits.maxTimespan} || count > limits.maxPackets || bytes > limits.maxBytes;
  if (waiting && !passed) return {kMustWait, std::uint16_t{0}};
  return {kOk, *next};
}

void TrySorter(test::Decisions& decisions) {
  const auto streams = static_cast<std::uint16_t>(1 + decisions.Choose(3));
  const MergeSorterLimits limits{.maxPackets = decisions.Byte(), .maxTimespan = decisions.Number(2), .maxBytes = 2000};
  CMergeSorter sorter;
  Require(sorter.Initialize(streams, limits) == kOk, "a sorter is created");
  std::vector<ModelQueue> model(streams);
  std::uint32_t time = decisions.Choose(2) == 0 ? 0 : 0xFFFFFF00;
  while (!decisions.IsOver()) {
    const auto stream = static_cast<std::uint16_t>(decisions.Choose(streams));
    switch (decisions.Choose(8)) {
      case 0:
        Require(sorter.SetStreamEnded(stream) == kOk, "a stream is ended");
        model[stream].ended = true;
        break;
      case 1:
        if (decisions.Byte() > 32) break;
        sorter.Flush();
        model.assign(streams, {});
        break;
      case 2:
      case 3:
      case 4: {
        time = Near(decisions, time);
        const std::uint32_t size = decisions.Byte();
        const auto buffer = host::MakeObject<host::Buffer>();
        Require(buffer->SetSize(size) == kOk, "a buffer is allocated");
        const auto packet = host::MakeObject<host::Packet>();
        packet->Set(buffer.Get(), time, stream, 0, 0);
        Require(sorter.AddPacket(ComPtr<IQBPacket>::Retain(packet.Get())) == kOk, "a packet is queued");
        model[stream].packets.push_back({time, size});
        model[stream].latest = time;
        break;
      }
      default: {
        const bool remove = decisions.Choose(4) != 0;
        const auto [expected, from] = NextOf(model, limits);
        ComPtr<IQBPacket> packet;
        Require(sorter.GetNextPacket(packet, remove) == expected, "the status is that of the model");
        Require(static_cast<bool>(packet) == (expected == kOk), "success returns a packet, failure none");
        if (!packet) break;
        Require(packet->GetStreamNumber() == from && packet->GetTime() == model[from].packets.front().time,
                "packets are in order");
        if (remove) model[from].packets.pop_front();
      }
    }
    Require(sorter.GetQueuedCount(stream) == model[stream].packets.size(), "the number of packets is correct");
    Require(sorter.IsStreamEnded(stream) == model[stream].ended, "the end of the stream is recorded");
  }
}

}  // namespace

void TryStructures(Input input) {
  if (input.empty()) return;
  test::Decisions decisions(input.subspan(1));
  input[0] % 2 == 0 ? TryIndex(decisions) : TrySorter(decisions);
}

}  // namespace qbflv::fuzz
