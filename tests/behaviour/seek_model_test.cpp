// Seeking against a plain model, on random files in random order: the file operations of every seek, which show what is
// in the index, and every packet that follows. QBFLV_MODEL_CASES says how many cases to try, QBFLV_MODEL_SEED which
// one.
#include <gtest/gtest.h>

#include <cstdlib>
#include <random>
#include <sstream>

#include "tests/support/scripted_host.h"
#include "tests/support/seek_model.h"

namespace qbflv::test {
namespace {

constexpr std::uint64_t kCases = 400;

/// The same numbers on every system.
class Chance {
 public:
  explicit Chance(std::uint64_t seed) : m_numbers(seed) {}

  std::uint32_t Below(std::uint32_t count) { return static_cast<std::uint32_t>(m_numbers() % count); }
  bool OneIn(std::uint32_t count) { return Below(count) == 0; }

 private:
  std::mt19937_64 m_numbers;
};

struct TagPlan {
  /// a for audio, k for a key frame, p for another frame, s for script data, e for audio without a body.
  char kind = 'a';
  std::uint32_t time = 0;
  std::uint32_t size = 0;
};

enum class ListKind { kNone, kRight, kSparse, kUnsorted, kWrongTimes, kWrongPlaces };
constexpr const char* kListNames[] = {"none", "right", "sparse", "unsorted", "wrong times", "wrong places"};

/// What is done with the file: seeks, each followed by so many packets; -1 for all.
struct Action {
  std::uint32_t time = 0;
  int packets = -1;
};

struct Case {
  std::uint64_t seed = 0;
  std::uint8_t flags = kBoth;
  std::vector<TagPlan> tags;
  ListKind list = ListKind::kNone;
  Answers answers = Answers::kInline;
  Stat stat = Stat::kPresent;
  bool linear = false;
  bool failsAtEnd = false;
  std::uint32_t units = 0;
  bool thumbnailStart = false;
  int packetsBefore = 0;
  std::vector<Action> actions;
};

std::vector<TagPlan> PlanTags(Chance& chance, std::uint8_t flags) {
  constexpr std::uint32_t kBases[] = {0, 0, 0, 1000, 70000, 0x80000000};
  std::uint32_t time = kBases[chance.Below(6)];
  const std::uint32_t step = 1 + chance.Below(120);
  const std::uint32_t keyDistance = 1 + chance.Below(12);
  const std::uint32_t count = 4 + chance.Below(100);
  std::vector<TagPlan> tags;
  std::uint32_t frames = 0;
  // Two tags of each stream at least, so that each has a last one and one before it.
  for (int i = 0; i < 2; ++i) {
    if ((flags & kAudio) != 0) tags.push_back({'a', time, 10 + chance.Below(20)});
    if ((flags & kVideo) != 0) tags.push_back({frames++ == 0 ? 'k' : 'p', time, 12 + chance.Below(40)});
    time += step;
  }
  while (tags.size() < count) {
    if (chance.OneIn(20)) tags.push_back({'s', time, chance.Below(30)});
    if (chance.OneIn(30) && (flags & kAudio) != 0) tags.push_back({'e', time, 0});
    const bool isVideo = flags == kVideo || (flags == kBoth && chance.OneIn(2));
    const char kind = !isVideo ? 'a' : frames++ % keyDistance == 0 ? 'k' : 'p';
    tags.push_back({kind, time, 12 + chance.Below(40)});
    // Mostly forward; sometimes the time stands still, goes back or leaps.
    switch (chance.Below(12)) {
      case 0:
        break;
      case 1:
        time -= std::min(time, chance.Below(2 * step));
        break;
      case 2:
        time += 10 * step;
        break;
      default:
        time += chance.Below(step + 1);
    }
  }
  return tags;
}

Case MakeCase(std::uint64_t seed) {
  Chance chance(seed);
  constexpr std::uint8_t kFlags[] = {kBoth, kBoth, kAudio, kVideo};
  constexpr Stat kStats[] = {Stat::kPresent, Stat::kPresent, Stat::kAbsent, Stat::kFailing};
  Case result;
  result.seed = seed;
  result.flags = kFlags[chance.Below(4)];
  result.tags = PlanTags(chance, result.flags);
  if ((result.flags & kVideo) != 0) result.list = static_cast<ListKind>(chance.Below(6));
  result.answers = chance.OneIn(2) ? Answers::kInline : Answers::kLater;
  result.stat = kStats[chance.Below(4)];
  result.linear = chance.OneIn(4);
  result.failsAtEnd = chance.OneIn(3);
  result.units = chance.OneIn(5) ? 1 + chance.Below(4) : 0;
  result.thumbnailStart = chance.OneIn(2);
  const auto packets = [&] { return chance.OneIn(2) ? -1 : static_cast<int>(chance.Below(20)); };
  result.packetsBefore = chance.OneIn(2) ? packets() : 0;
  const std::uint32_t base = result.tags.front().time;
  const std::uint32_t span = std::max(result.tags.back().time, base) - base;
  for (std::uint32_t left = 1 + chance.Below(5); left > 0; --left) {
    std::uint32_t time = chance.Below(span + span / 8 + 2);
    if (chance.OneIn(3)) time = result.tags[chance.Below(static_cast<std::uint32_t>(result.tags.size()))].time - base;
    result.actions.push_back({time, packets()});
  }
  return result;
}

FlvBuilder BuildTags(const Case& row, const std::vector<double>& times, const std::vector<double>& places) {
  amf::Entries more;
  if (!times.empty()) more.emplace_back("keyframes", amf::KeyFrames(times, places));
  FlvBuilder flv(row.flags);
  // A picture's size would make a file of sound alone one with video.
  flv.Metadata(row.flags == kAudio ? amf::MixedArray({{"audiodatarate", amf::Number(64)}}) : QuickMetadata(more));
  for (const TagPlan& tag : row.tags) {
    switch (tag.kind) {
      case 'a':
        flv.Audio(tag.time, tag.size);
        break;
      case 's':
        flv.Tag(kScriptTag, tag.time, Bytes(tag.size, 5));
        break;
      case 'e':
        flv.Tag(kAudioTag, tag.time, {});
        break;
      default:
        flv.Video(tag.time, tag.size, tag.kind == 'k');
    }
  }
  return flv;
}

/// The file, with its list of key frames as the case wants it.
Bytes BuildFile(const Case& row, std::vector<std::pair<double, double>>& keyFrames) {
  Chance chance(row.seed + 1);
  std::vector<std::size_t> keys;
  for (std::size_t i = 0; i < row.tags.size(); ++i) {
    if (row.tags[i].kind == 'k' && (row.list != ListKind::kSparse || !chance.OneIn(2))) keys.push_back(i);
  }
  if (row.list == ListKind::kNone || keys.empty()) return BuildTags(row, {}, {}).File();
  if (row.list == ListKind::kUnsorted) {
    for (std::size_t i = keys.size(); i > 1; --i)
      std::swap(keys[i - 1], keys[chance.Below(static_cast<std::uint32_t>(i))]);
  }
  std::vector<double> times(keys.size()), places(keys.size());
  // The list's size is known by its entries; what they say is known when the file stands.
  const FlvBuilder layout = BuildTags(row, times, places);
  for (std::size_t i = 0; i < keys.size(); ++i) {
    times[i] = (row.tags[keys[i]].time - row.tags.front().time) / 1000.0;
    places[i] = layout.Field(keys[i] + 1) + 4;
    if (row.list == ListKind::kWrongTimes) times[i] = chance.Below(5000) / 1000.0;
    if (row.list == ListKind::kWrongPlaces) places[i] = 4 + chance.Below(layout.Size() + 100);
    keyFrames.emplace_back(times[i], places[i]);
  }
  return BuildTags(row, times, places).File();
}

/// A host that asks for packets until it has so many.
class ModelRun {
 public:
  explicit ModelRun(const Case& row) : m_case(row), m_file(BuildFile(row, m_keyFrames)) {}

  /// What is not as it should be, or nothing.
  std::string Run() {
    ModelSettings settings{.flags = m_case.flags,
                           .knowsEnd = m_case.stat == Stat::kPresent && !m_case.linear,
                           .failsAtEnd = m_case.failsAtEnd,
                           .units = m_case.units,
                           .thumbnailStart = m_case.thumbnailStart,
                           .keyFrames = m_keyFrames};
    SeekModel model(m_file, settings);
    HostScript script{.file = {.bytes = m_file,
                               .answers = m_case.answers,
                               .stat = m_case.stat,
                               .failsAtEnd = m_case.failsAtEnd,
                               .accessHint = m_case.linear ? kPrefersLinearAccess : kOk}};
    if (m_case.units > 0) script.url += "?ProcessTimeUnits=" + std::to_string(m_case.units);
    if (m_case.thumbnailStart) script.preferences.emplace_back("DisableFLVThumbnailSeekModification", "0");
    ScriptedHost host(script);
    if (!host.ReadHeaders()) return "no headers: " + host.log.All().back();
    m_seen = host.log.Size();
    m_position = m_file[8];

    std::string trouble = PlayAndCheck(host, model, m_case.packetsBefore);
    for (std::size_t i = 0; i < m_case.actions.size() && trouble.empty(); ++i) {
      trouble = SeekAndCheck(host, model, m_case.actions[i].time);
      if (trouble.empty()) trouble = PlayAndCheck(host, model, m_case.actions[i].packets);
      if (!trouble.empty()) trouble = "action " + std::to_string(i + 1) + ": " + trouble;
    }
    return trouble;
  }

 private:
  std::string SeekAndCheck(ScriptedHost& host, SeekModel& model, std::uint32_t time) {
    const ModelSeek expected = model.Seek(time);
    host.Seek(time);
    CallLog::Lines lines = host.log.From(m_seen);
    m_seen = host.log.Size();
    CallLog::Lines wanted = expected.operations;
    wanted.push_back(expected.failed ? "SeekDone 0x80004005" : "SeekDone 0x00000000");
    if (lines != wanted) return Difference("the seek's operations", wanted, lines);
    m_position = expected.position;
    return {};
  }

  /// Plays so many packets, all of them for -1, and holds them against what must come from here on.
  std::string PlayAndCheck(ScriptedHost& host, SeekModel& model, int packets) {
    if (packets == 0) return {};
    const std::vector<SeekModel::Rest> expected = model.DeliveryFrom(m_position);
    int left = packets;
    bool stopped = false;
    std::vector<std::vector<ModelPacket>> got(model.StreamCount());
    host.OnSinkCall([&](const host::SinkEvent& event) {
      if (event.kind != host::SinkEvent::Kind::kPacketReady) return;
      const auto buffer = ComPtr<IQBBuffer>::Adopt(event.packet->GetPacketBuffer());
      got[event.stream].push_back({event.packet->GetTime(), buffer->GetSize()});
      stopped = stopped || --left == 0;
      if (!stopped) static_cast<void>(host.format->GetPacket(event.stream));
    });
    for (std::uint16_t stream = 0; stream < model.StreamCount(); ++stream)
      static_cast<void>(host.format->GetPacket(stream));
    host.Pump();
    host.OnSinkCall(nullptr);
    Follow(host, model);
    return ComparePackets(expected, got, stopped, host);
  }

  std::string ComparePackets(const std::vector<SeekModel::Rest>& expected,
                             const std::vector<std::vector<ModelPacket>>& got, bool stopped, ScriptedHost& host) const {
    std::size_t cutStreams = 0;
    for (std::size_t stream = 0; stream < got.size(); ++stream) {
      const std::vector<ModelPacket>& wanted = expected[stream].packets;
      for (std::size_t i = 0; i < got[stream].size(); ++i) {
        const bool isThere = i < wanted.size();
        if (isThere && got[stream][i].time == wanted[i].time && got[stream][i].size == wanted[i].size) continue;
        std::ostringstream text;
        text << "packet " << i << " of stream " << stream << ": expected ";
        isThere ? text << wanted[i].time << " ms, " << wanted[i].size << " bytes" : text << "none";
        text << ", got " << got[stream][i].time << " ms, " << got[stream][i].size << " bytes";
        return text.str();
      }
      if (got[stream].size() < wanted.size()) ++cutStreams;
      if (stopped || got[stream].size() == wanted.size()) continue;
      // Behind the last packet of the other stream they wait for its next one, until the file ends.
      if (expected[stream].reachesEnd || (got.size() > 1 && expected[1 - stream].reachesEnd)) continue;
      return "stream " + std::to_string(stream) + " ends " + std::to_string(wanted.size() - got[stream].size()) +
             " packets early";
    }
    if (!stopped && cutStreams > 1) return "both streams end early";
    if (!stopped && host.log.Count("StreamDone") == 0) return "no stream ends";
    return {};
  }

  /// Tells the model which tags delivery has read.
  void Follow(ScriptedHost& host, SeekModel& model) {
    for (const std::string& line : host.log.From(m_seen)) {
      if (line.starts_with("Seek(")) m_position = std::stoull(line.substr(5));
      if (!line.starts_with("Read(")) continue;
      const std::uint64_t count = std::stoull(line.substr(5));
      const bool isBody = m_inTag;
      if (isBody && m_position + count <= m_file.size()) model.NoteDelivered(m_position - 15);
      m_inTag = !isBody && count == 15 && HasBody();
      m_position = std::min<std::uint64_t>(m_position + count, std::max<std::uint64_t>(m_position, m_file.size()));
    }
    m_seen = host.log.Size();
    m_inTag = false;
  }

  /// Whether the tag whose header is read here is one whose body is read next.
  bool HasBody() const {
    if (m_position + 15 > m_file.size()) return false;
    const std::uint8_t* const tag = m_file.data() + m_position + 4;
    const bool isMedia = tag[0] == kAudioTag || tag[0] == kVideoTag;
    return isMedia && (tag[1] | tag[2] | tag[3]) != 0;
  }

  static std::string Difference(const char* what, const CallLog::Lines& wanted, const CallLog::Lines& got) {
    std::ostringstream text;
    text << what << "\n  expected:";
    for (const std::string& line : wanted) text << ' ' << line;
    text << "\n  got:     ";
    for (const std::string& line : got) text << ' ' << line;
    return text.str();
  }

  const Case& m_case;
  std::vector<std::pair<double, double>> m_keyFrames;
  const Bytes m_file;
  std::size_t m_seen = 0;
  std::uint64_t m_position = 0;
  bool m_inTag = false;
};

std::string Tell(const Case& row) {
  std::ostringstream text;
  text << "seed " << row.seed << ", flags " << int{row.flags} << ", key-frame list "
       << kListNames[static_cast<int>(row.list)] << ", answers "
       << (row.answers == Answers::kInline ? "inline" : "later") << ", stat " << static_cast<int>(row.stat)
       << (row.linear ? ", linear" : "") << (row.failsAtEnd ? ", fails at the end" : "") << ", units " << row.units
       << (row.thumbnailStart ? ", thumbnail start" : "") << "\n  tags:";
  for (const TagPlan& tag : row.tags) text << ' ' << tag.kind << tag.time << '/' << tag.size;
  text << "\n  packets before: " << row.packetsBefore << "\n  then:";
  for (const Action& action : row.actions) text << " seek " << action.time << " packets " << action.packets << ';';
  return text.str();
}

/// The least that still fails: fewer actions, then fewer tags.
Case Reduce(Case row) {
  const auto fails = [](const Case& attempt) { return !ModelRun(attempt).Run().empty(); };
  const auto shorten = [&](auto member, std::size_t keep) {
    for (std::size_t i = (row.*member).size(); i > keep; --i) {
      Case attempt = row;
      (attempt.*member).erase((attempt.*member).begin() + static_cast<std::ptrdiff_t>(i - 1));
      if (fails(attempt)) row = std::move(attempt);
    }
  };
  shorten(&Case::actions, 0);
  // The first ones tell the plug-in what the streams are.
  shorten(&Case::tags, row.flags == kBoth ? 4 : 2);
  return row;
}

std::uint64_t Setting(const char* name, std::uint64_t otherwise) {
  const char* const text = std::getenv(name);
  return text == nullptr ? otherwise : std::strtoull(text, nullptr, 10);
}

TEST(SeekModel, OnRandomFiles_AgreesOnEveryOperationAndPacket) {
  const std::uint64_t first = Setting("QBFLV_MODEL_SEED", 1);
  const bool isOne = std::getenv("QBFLV_MODEL_SEED") != nullptr;
  const std::uint64_t last = isOne ? first : Setting("QBFLV_MODEL_CASES", kCases);
  std::size_t seeks = 0;
  for (std::uint64_t seed = first; seed <= last; ++seed) {
    const Case row = MakeCase(seed);
    seeks += row.actions.size();
    if (ModelRun(row).Run().empty()) continue;
    const Case least = Reduce(row);
    FAIL() << ModelRun(least).Run() << "\n  " << Tell(least);
  }
  std::printf("seeds %llu to %llu, %zu seeks\n", static_cast<unsigned long long>(first),
              static_cast<unsigned long long>(last), seeks);
  EXPECT_GT(seeks, last - first);
}

}  // namespace
}  // namespace qbflv::test
