// Bit rates, key-frame intervals, interleaving and seek costs of an FLV file over time, for `qbflv check --html`.
#include "cli/time_line.h"

#include <algorithm>
#include <cstdlib>
#include <optional>

#include "cli/findings.h"
#include "cli/interrupt.h"
#include "flv/scan.h"
#include "flv/tag_walker.h"
#include "host/host_error.h"
#include "host/open_file.h"

namespace qbflv::cli {

namespace {

/// A wide screen can show this many parts.
constexpr std::uint32_t kMaxParts = 240;
/// In ms.
constexpr std::uint32_t kMinPartLength = 1000;
constexpr std::uint32_t kSeeks = 24;

class Builder {
 public:
  explicit Builder(const flv::FileFacts& facts) : m_facts(facts) {
    const std::uint32_t base = facts.TimeBase();
    m_line.length = static_cast<std::uint32_t>(std::max(0, flv::TimeBetween(base, facts.latestContinuedTime)));
    m_line.partLength = std::max(kMinPartLength, m_line.length / kMaxParts + 1);
    // The last part contains the remainder and is up to half a part longer or shorter than the others.
    m_line.parts.resize(std::max(1U, (m_line.length + m_line.partLength / 2) / m_line.partLength));
  }

  /// Call it with all playable tags, in file order.
  void Add(const flv::Tag& tag) {
    while (m_continuation + 1 < m_facts.continuations.size() &&
           m_facts.continuations[m_continuation + 1].firstTag <= m_tags) {
      ++m_continuation;
    }
    ++m_tags;
    const std::uint32_t shift = m_facts.continuations.empty() ? 0 : m_facts.continuations[m_continuation].shift;
    m_time = static_cast<std::uint32_t>(std::max(0, flv::TimeBetween(m_facts.TimeBase(), tag.header.time + shift)));
    AddMarks(tag.offset);
    TimeLine::Part& part = PartAt(m_time);
    const flv::TagContent content = flv::ContentOf(tag.header.type, tag.Start());
    const bool isAudio = tag.header.Is(flv::TagType::kAudio);
    (isAudio ? part.audioBytes : part.videoBytes) += tag.header.size;
    if (content != flv::TagContent::kFrame && content != flv::TagContent::kKeyFrame) return;
    if (content == flv::TagContent::kKeyFrame && !isAudio) EndKeyInterval();
    (isAudio ? m_audioTime : m_videoTime) = m_time;
    if (!m_audioTime || !m_videoTime) return;
    const std::int32_t ahead = flv::TimeBetween(*m_videoTime, *m_audioTime);
    if (std::abs(ahead) > std::abs(part.audioAhead)) part.audioAhead = ahead;
  }

  TimeLine Finish() {
    AddMarks(m_facts.fileSize);
    m_time = m_line.length;
    EndKeyInterval();
    return std::move(m_line);
  }

 private:
  TimeLine::Part& PartAt(std::uint32_t time) {
    return m_line.parts[std::min<std::size_t>(time / m_line.partLength, m_line.parts.size() - 1)];
  }

  /// Adds marks for the damage up to this file offset.
  void AddMarks(std::uint64_t offset) {
    const std::vector<flv::Damage>& places = m_facts.damages.Places();
    for (; m_place < places.size() && places[m_place].offset <= offset; ++m_place) {
      m_line.marks.push_back({m_time, NameOf(places[m_place].kind)});
    }
  }

  void EndKeyInterval() {
    if (m_keyTime && m_time > *m_keyTime) {
      const std::uint32_t interval = m_time - *m_keyTime;
      const std::uint32_t step = m_line.partLength;
      for (std::uint32_t time = *m_keyTime; time < m_time; time += step) {
        PartAt(time).keyInterval = std::max(PartAt(time).keyInterval, interval);
      }
    }
    m_keyTime = m_time;
  }

  const flv::FileFacts& m_facts;
  TimeLine m_line;
  std::uint32_t m_tags = 0;
  std::size_t m_continuation = 0;
  std::size_t m_place = 0;
  std::uint32_t m_time = 0;
  std::optional<std::uint32_t> m_audioTime, m_videoTime, m_keyTime;
};

std::uint64_t ReadsOfFirstSeek(const host::SessionOptions& options, std::uint32_t time) {
  ThrowIfInterrupted();
  host::Session session(options);
  session.ReadHeaders();
  return session.Seek(time).counts.reads;
}

bool CanOpen(const host::SessionOptions& options) {
  try {
    host::Session session(options);
    session.ReadHeaders();
    session.RequireStreamHeaders();
    return true;
  } catch (const host::HostError&) {
    return false;
  }
}

}  // namespace

TimeLine ReadTimeLine(const std::filesystem::path& path, const flv::FileFacts& facts) {
  const auto source = host::OpenFile(path);
  flv::DamageList damages;
  flv::TagWalker walker(*source, damages);
  Builder builder(facts);
  flv::Tag tag;
  for (bool more = walker.ReadFileHeader(); more && walker.Next(tag);) {
    const bool isMedia = tag.header.Is(flv::TagType::kAudio) || tag.header.Is(flv::TagType::kVideo);
    if (isMedia && tag.header.size > 0) builder.Add(tag);
  }
  return builder.Finish();
}

std::vector<SeekCost> MeasureSeeks(const host::SessionOptions& options, std::uint32_t length) {
  host::SessionOptions repaired = options;
  repaired.view = host::OpenRepaired(options.file, {.retime = true});
  const bool isPlayable = CanOpen(options);
  std::vector<SeekCost> costs;
  costs.reserve(kSeeks + 1);
  for (std::uint32_t i = 0; i <= kSeeks; ++i) {
    const auto time = static_cast<std::uint32_t>(std::uint64_t{length} * i / kSeeks);
    costs.push_back({time, isPlayable ? ReadsOfFirstSeek(options, time) : 0, ReadsOfFirstSeek(repaired, time)});
  }
  return costs;
}

}  // namespace qbflv::cli
