// Random but well-formed files, and random requests to play and seek them.
#include "tests/support/random_flv.h"

#include <fmt/format.h>

#include <algorithm>

namespace qbflv::test {

namespace {

/// Gives the same numbers with every standard library, unlike the distributions of <random>.
class Dice {
 public:
  explicit Dice(std::uint64_t seed) : m_engine(seed) {}

  std::uint32_t Below(std::uint32_t count) { return static_cast<std::uint32_t>(m_engine() % count); }
  bool OneIn(std::uint32_t count) { return Below(count) == 0; }
  template <typename Item>
  const Item& Of(const std::vector<Item>& items) {
    return items[Below(static_cast<std::uint32_t>(items.size()))];
  }

 private:
  std::mt19937_64 m_engine;
};

/// The tags that the header scan needs: one of each stream, with nothing but tags of streams before the last of them.
std::size_t TagsOfHeaderScan(const RandomCase& c) {
  std::uint8_t missing = c.flags;
  for (std::size_t i = 0; i < c.tags.size(); ++i) {
    if (c.tags[i].type == kScriptTag || c.tags[i].size < 2) return 0;
    missing = static_cast<std::uint8_t>(missing & ~(c.tags[i].type == kAudioTag ? kAudio : kVideo));
    if (missing == 0) return i + 1;
  }
  return 0;
}

void AddTags(RandomCase& c, Dice& dice) {
  const std::uint32_t count = 2 + dice.Below(dice.OneIn(3) ? 120 : 25);
  const std::uint32_t step = dice.Of<std::uint32_t>({1, 10, 60, 60, 400, 3000, 20000});
  const std::uint32_t spacing = 1 + dice.Below(8);
  const std::uint32_t base = dice.Of<std::uint32_t>({0, 0, 0, 0, 70, 5000000, 0x80000000U - 300, 0U - 500});
  std::uint32_t times[2] = {base + (dice.OneIn(2) ? dice.Below(step * 4) : 0),
                            base + (dice.OneIn(2) ? dice.Below(step * 4) : 0)};
  const std::uint32_t rarity = 2 + dice.Below(30);
  std::uint32_t frames = dice.OneIn(4) ? 1 : 0;
  const bool lopsided = dice.OneIn(6);
  for (std::uint32_t i = 0; i < count; ++i) {
    const bool behind = static_cast<std::int32_t>(times[1] - times[0]) < 0;
    bool video = lopsided ? i > count / 2 : dice.OneIn(5) ? dice.OneIn(2) : behind;
    if (c.flags != kBoth) video = c.flags == kVideo;
    std::uint32_t& time = times[video ? 1 : 0];
    RandomTag tag{video ? kVideoTag : kAudioTag, time, 2 + dice.Below(30), false};
    if (video) tag.key = frames++ % spacing == 0 || dice.OneIn(12);
    if (dice.OneIn(rarity)) {
      const std::uint32_t oddity = dice.Below(5);
      if (oddity == 0) tag.size = dice.Below(2);
      if (oddity == 1) tag.type = kScriptTag;
      if (oddity == 2) tag.time -= dice.Below(step * 3);
      if (oddity == 3) time += step * dice.Below(30);
    }
    if (!dice.OneIn(10)) time += dice.Below(step * 2) + (dice.OneIn(2) ? 1 : 0);
    if (tag.size == 0) tag.key = false;
    c.tags.push_back(tag);
  }
}

void AddKeyFrames(RandomCase& c, Dice& dice) {
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
    if (wrong && dice.OneIn(2)) each.tag = dice.Below(static_cast<std::uint32_t>(c.tags.size()) + 1);
    if (wrong && dice.OneIn(3)) each.time += dice.Below(500);
    if (unsorted) std::swap(each, list[dice.Below(static_cast<std::uint32_t>(list.size()))]);
  }
}

std::uint32_t RandomTime(const RandomCase& c, Dice& dice) {
  if (dice.OneIn(12)) return dice.Of<std::uint32_t>({0, 1, 0xFFFFFFFF, 0x80000000, 100000});
  const std::uint32_t first = dice.OneIn(8) ? 0 : std::min(c.tags[0].time, c.tags[1].time);
  return dice.Of(c.tags).time - first + (dice.OneIn(2) ? dice.Below(3) - 1 : dice.OneIn(2) ? dice.Below(2000) : 0);
}

RandomRequest MakeRequest(const RandomCase& c, Dice& dice) {
  using Then = RandomRequest::Then;
  RandomRequest request;
  request.time = RandomTime(c, dice);
  request.thenTime = RandomTime(c, dice);
  if (dice.OneIn(2)) request.kind = RandomRequest::Kind::kSeek;
  request.packets = dice.OneIn(3) ? 1000 : dice.Below(static_cast<std::uint32_t>(c.tags.size()) + 2);
  if (dice.OneIn(4)) request.then = Then::kSeekAfterAnswers;
  if (dice.OneIn(4) && request.kind == RandomRequest::Kind::kPlay) request.then = Then::kSeekInsidePacket;
  request.after = 1 + dice.Below(12);
  return request;
}

Bytes BodyOf(const RandomTag& tag) {
  if (tag.type == kAudioTag) return tag.size == 0 ? Bytes() : AudioBody(tag.size);
  if (tag.type == kVideoTag) return tag.size == 0 ? Bytes() : VideoBody(tag.size, tag.key ? 0x12 : 0x22);
  Bytes body(tag.size, 0x12);
  return body;
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

RandomCase MakeRandomCase(std::uint64_t seed) {
  Dice dice(seed);
  for (;;) {
    RandomCase c;
    c.flags = dice.Of<std::uint8_t>({kBoth, kBoth, kBoth, kVideo, kAudio});
    AddTags(c, dice);
    if (dice.OneIn(2)) AddKeyFrames(c, dice);
    if (dice.OneIn(2)) c.durationInSeconds = dice.Of<std::uint32_t>({0, 1, 20, 300, 3600, 40000});
    if (dice.OneIn(2)) c.answers = Answers::kLater;
    c.stat = dice.Of<Stat>({Stat::kPresent, Stat::kPresent, Stat::kAbsent, Stat::kFailing});
    c.failsAtEnd = dice.OneIn(2);
    c.frontToBack = dice.OneIn(3);
    c.closed = c.HasTailScan() || !dice.OneIn(4);
    if (dice.OneIn(4)) c.processTimeUnits = 1 + dice.Below(6);
    c.disableThumbnails = dice.Of<std::string>({"", "0", "1"});
    if (dice.OneIn(4)) c.maxTimespan = std::to_string(1 + dice.Below(3000));
    for (std::uint32_t i = 1 + dice.Below(8); i > 0; --i) c.requests.push_back(MakeRequest(c, dice));
    if (IsWellFormed(c)) return c;
  }
}

bool IsWellFormed(const RandomCase& c) {
  return TagsOfHeaderScan(c) > 0 && (c.closed || !c.HasTailScan()) && !c.requests.empty();
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
  HostScript script;
  script.file.bytes = flv.File();
  if (!c.closed) script.file.bytes.resize(script.file.bytes.size() - 4);
  script.file.answers = c.answers;
  script.file.stat = c.stat;
  script.file.failsAtEnd = c.failsAtEnd;
  script.file.accessHint = c.frontToBack ? kPrefersLinearAccess : kOk;
  if (c.processTimeUnits != 0) script.url += "?ProcessTimeUnits=" + std::to_string(c.processTimeUnits);
  if (!c.disableThumbnails.empty()) {
    script.preferences.emplace_back("DisableFLVThumbnailSeekModification", c.disableThumbnails);
  }
  if (!c.maxTimespan.empty()) script.preferences.emplace_back("FLVMergeSorterMaxTimespan", c.maxTimespan);
  return script;
}

std::string Describe(const RandomCase& c) {
  std::string text = fmt::format(
      "flags {}, answers {}, stat {}, {} at the end, {}, {}, {} units, DisableFLVThumbnailSeekModification '{}', "
      "FLVMergeSorterMaxTimespan '{}', duration {}\ntags behind the metadata:\n",
      c.flags, c.answers == Answers::kInline ? "inline" : "later",
      c.stat == Stat::kPresent  ? "present"
      : c.stat == Stat::kAbsent ? "absent"
                                : "failing",
      c.failsAtEnd ? "fails" : "short", c.frontToBack ? "front to back" : "any order",
      c.closed ? "closed" : "without the last size", c.processTimeUnits, c.disableThumbnails, c.maxTimespan,
      c.durationInSeconds ? std::to_string(*c.durationInSeconds) + " s" : "none");
  for (std::size_t i = 0; i < c.tags.size(); ++i) {
    const RandomTag& tag = c.tags[i];
    text += fmt::format("  {}: type {} at {} ms, {} bytes{}\n", i + 1, tag.type, tag.time, tag.size,
                        tag.key ? ", key" : "");
  }
  if (c.keyFrames) {
    text += "listed key frames:";
    for (const ListedKeyFrame& each : *c.keyFrames) text += fmt::format(" {} ms at tag {},", each.time, each.tag + 1);
    text += "\n";
  }
  text += "requests:\n";
  for (const RandomRequest& request : c.requests) {
    text += request.kind == RandomRequest::Kind::kPlay ? fmt::format("  play {} packets", request.packets)
                                                       : fmt::format("  seek to {}", request.time);
    if (request.then != RandomRequest::Then::kNothing) {
      text += fmt::format(", and seek to {} {} {}", request.thenTime,
                          request.then == RandomRequest::Then::kSeekInsidePacket ? "inside packet" : "after answers",
                          request.after);
    }
    text += "\n";
  }
  return text;
}

std::vector<RandomCase> Simpler(const RandomCase& c) {
  std::vector<RandomCase> cases;
  const auto with = [&](auto change) {
    RandomCase simpler = c;
    change(simpler);
    cases.push_back(std::move(simpler));
  };
  for (std::size_t i = 0; i < c.requests.size(); ++i) {
    with([i](RandomCase& s) { s.requests.erase(s.requests.begin() + static_cast<std::ptrdiff_t>(i)); });
    if (c.requests[i].then != RandomRequest::Then::kNothing) {
      with([i](RandomCase& s) { s.requests[i].then = RandomRequest::Then::kNothing; });
    }
  }
  for (std::size_t i = c.tags.size(); i-- > 0;) {
    with([i](RandomCase& s) {
      s.tags.erase(s.tags.begin() + static_cast<std::ptrdiff_t>(i));
      if (!s.keyFrames) return;
      std::erase_if(*s.keyFrames, [i](const ListedKeyFrame& each) { return each.tag == i; });
      for (ListedKeyFrame& each : *s.keyFrames) each.tag -= each.tag > i ? 1 : 0;
    });
  }
  if (c.keyFrames) {
    with([](RandomCase& s) { s.keyFrames.reset(); });
    for (std::size_t i = 0; i < c.keyFrames->size(); ++i) {
      with([i](RandomCase& s) { s.keyFrames->erase(s.keyFrames->begin() + static_cast<std::ptrdiff_t>(i)); });
    }
  }
  if (c.processTimeUnits != 0) with([](RandomCase& s) { s.processTimeUnits = 0; });
  if (!c.disableThumbnails.empty()) with([](RandomCase& s) { s.disableThumbnails.clear(); });
  if (!c.maxTimespan.empty()) with([](RandomCase& s) { s.maxTimespan.clear(); });
  if (c.durationInSeconds) with([](RandomCase& s) { s.durationInSeconds.reset(); });
  if (c.answers == Answers::kLater) with([](RandomCase& s) { s.answers = Answers::kInline; });
  if (c.failsAtEnd) with([](RandomCase& s) { s.failsAtEnd = false; });
  if (!c.closed) with([](RandomCase& s) { s.closed = true; });
  if (c.stat == Stat::kFailing) with([](RandomCase& s) { s.stat = Stat::kAbsent; });
  return cases;
}

}  // namespace qbflv::test
