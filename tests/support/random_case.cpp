#include "tests/support/random_case.h"

#include <fmt/format.h>

#include <algorithm>
#include <utility>

namespace qbflv::test {

namespace {

/// The header scan needs a tag of each stream, with nothing but tags of streams before the last of them.
void AddTags(RandomCase& c, Decisions& dice) {
  const std::uint32_t count = 2 + dice.Below(dice.OneIn(3) ? 120 : 25);
  const auto step = dice.Of<std::uint32_t>({1, 10, 60, 60, 400, 3000, 20000});
  const std::uint32_t spacing = 1 + dice.Below(8);
  const auto base = dice.Of<std::uint32_t>({0, 0, 0, 0, 70, 5000000, 0x80000000U - 300, 0U - 500});
  std::uint32_t times[2] = {base, base};
  for (std::uint32_t& time : times) time += dice.OneIn(2) ? dice.Below(step * 4) : 0;
  const std::uint32_t rarity = 2 + dice.Below(30);
  std::uint32_t frames = dice.OneIn(4) ? 1 : 0;
  const bool lopsided = dice.OneIn(6);
  std::uint8_t missing = c.flags;
  for (std::uint32_t i = 0; i < count || missing != 0; ++i) {
    const bool behind = static_cast<std::int32_t>(times[1] - times[0]) < 0;
    bool video = lopsided ? i > count / 2 : dice.OneIn(5) ? dice.OneIn(2) : behind;
    if (c.flags != kBoth || i >= count) video = ((i >= count ? missing : c.flags) & kVideo) != 0;
    std::uint32_t& time = times[video ? 1 : 0];
    RandomTag tag{.type = video ? kVideoTag : kAudioTag, .time = time, .size = 2 + dice.Below(30)};
    if (video) tag.key = frames++ % spacing == 0 || dice.OneIn(12);
    if (dice.OneIn(rarity) && missing == 0) {
      const std::uint32_t oddity = dice.Below(5);
      if (oddity == 0) tag.size = dice.Below(2);
      if (oddity == 1) tag.type = dice.Of<std::uint8_t>({kScriptTag, kScriptTag, 0x28, 0x55});
      if (oddity == 2) tag.time -= dice.Below(step * 3);
      if (oddity == 3) time += step * dice.Below(30);
    }
    if (!dice.OneIn(10)) time += dice.Below(step * 2) + (dice.OneIn(2) ? 1 : 0);
    if (tag.size == 0) tag.key = false;
    missing = static_cast<std::uint8_t>(missing & ~(video ? kVideo : kAudio));
    c.tags.push_back(tag);
  }
}

/// Some tags of a file with one stream become tags of the stream that its header denies: not the first one, which ends
/// the header scan, and none that the tail scan reads.
void DenyTags(RandomCase& c, Decisions& dice) {
  if (c.flags == kBoth || dice.OneIn(2)) return;
  std::vector<RandomTag*> media;
  for (RandomTag& tag : c.tags) {
    if (tag.IsMedia()) media.push_back(&tag);
  }
  for (std::size_t i = 1; i + 2 < media.size(); ++i) {
    if (dice.OneIn(6)) media[i]->type = c.flags == kAudio ? kVideoTag : kAudioTag;
  }
}

void AddKeyFrames(RandomCase& c, Decisions& dice) {
  std::vector<ListedKeyFrame>& list = c.keyFrames.emplace();
  const std::uint32_t sparse = 1 + dice.Below(4);
  for (std::size_t i = 0; i < c.tags.size(); ++i) {
    if (c.tags[i].type == kVideoTag && c.tags[i].key && dice.OneIn(sparse)) {
      list.push_back({c.tags[i].time - c.tags[0].time, i});
    }
  }
  const bool wrong = dice.OneIn(3);
  const bool unsorted = dice.OneIn(4);
  for (ListedKeyFrame& each : list) {
    if (wrong && dice.OneIn(2)) each.tag = dice.Choose(c.tags.size() + 1);
    if (wrong && dice.OneIn(3)) each.time += dice.Below(500);
    if (unsorted) std::swap(each, list[dice.Choose(list.size())]);
  }
}

std::uint32_t RandomTime(const RandomCase& c, Decisions& dice) {
  if (dice.OneIn(12)) return dice.Of<std::uint32_t>({0, 1, 0xFFFFFFFF, 0x80000000, 100000});
  const std::uint32_t first = dice.OneIn(8) ? 0 : std::min(c.tags[0].time, c.tags[1].time);
  const std::uint32_t time = c.tags[dice.Choose(c.tags.size())].time - first;
  if (dice.OneIn(2)) return time + dice.Below(3) - 1;
  return dice.OneIn(2) ? time + dice.Below(2000) : time;
}

RandomRequest MakeRequest(const RandomCase& c, Decisions& dice) {
  using Then = RandomRequest::Then;
  RandomRequest request;
  request.time = RandomTime(c, dice);
  request.thenTime = RandomTime(c, dice);
  if (dice.OneIn(2)) request.kind = RandomRequest::Kind::kSeek;
  request.packets = dice.OneIn(3) ? 1000 : static_cast<std::uint32_t>(dice.Choose(c.tags.size() + 2));
  if (dice.OneIn(4)) request.then = Then::kSeekAfterCompletions;
  if (dice.OneIn(4) && request.kind == RandomRequest::Kind::kPlay) request.then = Then::kSeekInsidePacket;
  request.after = 1 + dice.Below(12);
  return request;
}

Bytes BodyOf(const RandomTag& tag) {
  Bytes other(tag.size, 0x12);
  if (!tag.IsMedia() || tag.size == 0) return other;
  if (tag.type == kAudioTag) return AudioBody(tag.size);
  // Also frames that may be dropped, and key frames that the server has generated.
  constexpr std::uint8_t kOtherFrames[] = {0x22, 0x32, 0x42};
  return VideoBody(tag.size, tag.key ? 0x12 : kOtherFrames[tag.size % 3]);
}

FlvBuilder Build(const RandomCase& c, const std::vector<double>& positions) {
  amf::Entries entries{{"audiodatarate", amf::Number(64)}};
  // With the picture's size and rate, a header that announces audio alone would be taken for one of both.
  if ((c.flags & kVideo) != 0) {
    entries.insert(entries.end(),
                   {{"width", amf::Number(320)}, {"height", amf::Number(240)}, {"framerate", amf::Number(25)}});
  }
  if (c.durationInSeconds) entries.emplace_back("duration", amf::Number(*c.durationInSeconds));
  if (c.keyFrames) {
    std::vector<double> times;
    for (const ListedKeyFrame& each : *c.keyFrames) times.push_back(each.time / 1000.0);
    entries.emplace_back("keyframes", amf::KeyFrames(times, positions));
  }
  FlvBuilder flv(c.flags);
  flv.Metadata(amf::MixedArray(entries));
  for (const RandomTag& tag : c.tags) flv.Tag(tag.type, tag.time, BodyOf(tag));
  return flv;
}

}  // namespace

RandomCase MakeRandomCase(Decisions& dice) {
  RandomCase c;
  c.flags = dice.Of<std::uint8_t>({kBoth, kBoth, kBoth, kVideo, kAudio});
  if (dice.OneIn(2)) c.durationInSeconds = dice.Of<std::uint32_t>({0, 1, 20, 300, 3600, 40000});
  if (dice.OneIn(2)) c.file.completes = Completes::kLater;
  c.file.stat = dice.Of<Stat>({Stat::kPresent, Stat::kPresent, Stat::kAbsent, Stat::kFailing});
  c.file.failsAtEnd = dice.OneIn(2);
  if (dice.OneIn(3)) c.file.accessHint = kPrefersLinearAccess;
  // The tail scan finds nothing without the last size.
  c.closed = c.HasTailScan() || !dice.OneIn(4);
  if (dice.OneIn(4)) c.processTimeUnits = 1 + dice.Below(6);
  c.disableThumbnails = dice.Of<const char*>({"", "0", "1"});
  if (dice.OneIn(4)) c.maxTimespan = std::to_string(1 + dice.Below(3000));
  AddTags(c, dice);
  DenyTags(c, dice);
  if (dice.OneIn(2)) AddKeyFrames(c, dice);
  for (std::uint32_t i = 1 + dice.Below(8); i > 0; --i) c.requests.push_back(MakeRequest(c, dice));
  return c;
}

FlvBuilder Build(const RandomCase& c) {
  if (!c.keyFrames) return Build(c, {});
  // Numbers are of one size: the positions can be measured in a file that does not know them yet.
  const FlvBuilder draft = Build(c, std::vector<double>(c.keyFrames->size()));
  std::vector<double> positions;
  for (const ListedKeyFrame& each : *c.keyFrames) {
    positions.push_back(each.tag < c.tags.size() ? draft.Field(each.tag + 1) + 4 : draft.Size() + 100);
  }
  return Build(c, positions);
}

HostScript Script(const RandomCase& c, const FlvBuilder& flv) {
  HostScript script{.file = c.file};
  script.file.bytes = flv.File();
  if (!c.closed) script.file.bytes.resize(script.file.bytes.size() - 4);
  if (c.processTimeUnits != 0) script.url += "?ProcessTimeUnits=" + std::to_string(c.processTimeUnits);
  if (!c.disableThumbnails.empty()) {
    script.preferences.emplace_back("DisableFLVThumbnailSeekModification", c.disableThumbnails);
  }
  if (!c.maxTimespan.empty()) script.preferences.emplace_back("FLVMergeSorterMaxTimespan", c.maxTimespan);
  return script;
}

std::string Describe(const RandomCase& c) {
  std::string text =
      fmt::format("flags {}, completes {}, stat {}, {} units, span '{}', tags behind the metadata:\n", c.flags,
                  static_cast<int>(c.file.completes), static_cast<int>(c.file.stat), c.processTimeUnits, c.maxTimespan);
  for (const RandomTag& tag : c.tags) {
    text += fmt::format("  type {} at {} ms, {} bytes{}\n", tag.type, tag.time, tag.size, tag.key ? ", key" : "");
  }
  for (const RandomRequest& request : c.requests) {
    const bool plays = request.kind == RandomRequest::Kind::kPlay;
    text += plays ? fmt::format("play {} packets", request.packets) : fmt::format("seek to {}", request.time);
    constexpr const char* kThen[] = {"", ", seek to {} inside packet {}", ", seek to {} after {} completions"};
    const auto then = static_cast<std::size_t>(request.then);
    text += fmt::format(fmt::runtime(kThen[then]), request.thenTime, request.after) + "\n";
  }
  return text;
}

}  // namespace qbflv::test
