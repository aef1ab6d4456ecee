// The faults of an FLV file, with their consequences and remedies.
#include "cli/findings.h"

#include <fmt/format.h>

#include <algorithm>
#include <array>
#include <cmath>
#include <limits>
#include <utility>

#include "flv/format.h"

namespace qbflv::cli {

namespace {

constexpr std::string_view kRemux = "qbflv remux FILE OUT";
constexpr std::string_view kRetime = "qbflv remux --retime FILE OUT";
constexpr std::string_view kRebase = "qbflv remux --rebase FILE OUT";

/// The finding for one kind of damage. In text, {0} is the sum of the amounts and {1} their number.
struct DamageText {
  const char* text;
  std::string_view name;
  std::string_view consequence;
  std::string_view remedy;
  flv::DamageKind kind;
  Severity severity;
};

// In the order of flv::DamageKind.
constexpr DamageText kDamageTexts[] = {
    {"{0} bytes belong to no tag", "garbage", "packets after the first of them may be lost", kRemux,
     flv::DamageKind::kGarbage, Severity::kError},
    {"the file ends inside a tag", "truncated-tag", "the last tag cannot be played, and the durations are not measured",
     kRemux, flv::DamageKind::kTruncatedTag, Severity::kWarning},
    {"the file ends before the size of its last tag is complete", "truncated-size", "the durations are not measured",
     kRemux, flv::DamageKind::kTruncatedSizeField, Severity::kNote},
    {"{1} previous-tag sizes are wrong", "wrong-size",
     "the plug-in cannot find the last tags from the end of the file: durations may be wrong", kRemux,
     flv::DamageKind::kWrongSizeField, Severity::kWarning},
    {"recordings were concatenated byte by byte; file headers between tags: {1}", "joined-files",
     "delivery ends at the first of them", kRetime, flv::DamageKind::kEmbeddedHeader, Severity::kError},
    {"{1} audio or video tags have no body", "empty-tag",
     "one of them among the first tags of the file prevents playing", kRemux, flv::DamageKind::kEmptyTag,
     Severity::kWarning},
    {"{1} tags are neither audio, video nor script data", "unknown-tag",
     "one of them among the first tags of the file prevents playing", kRemux, flv::DamageKind::kUnknownTag,
     Severity::kWarning},
    {"{1} tags are encrypted", "encrypted-tag", "players cannot decode them", "", flv::DamageKind::kEncryptedTag,
     Severity::kError},
    {"the metadata cannot be decoded to its end", "broken-metadata",
     "the plug-in makes no file header: it does not play", kRemux, flv::DamageKind::kBrokenScript, Severity::kError},
    {"timestamps jump back; jumps: {1}", "time-jumps-back", "seeks go to the wrong place, and players stall or skip",
     kRetime, flv::DamageKind::kTimeBack, Severity::kWarning},
    {"timestamps leap ahead; leaps: {1}", "time-leaps-ahead", "players wait as long as the leap", kRetime,
     flv::DamageKind::kTimeLeap, Severity::kWarning},
    {"a codec configuration differs from the one before, {1} times", "configuration-changes",
     "players that configure their decoder only once stop decoding", "", flv::DamageKind::kConfigurationChanged,
     Severity::kNote},
    {"frames precede their codec configuration", "late-configuration", "they cannot be decoded", "",
     flv::DamageKind::kMissingConfiguration, Severity::kWarning},
    {"the file header says that the tags begin at byte {0}, but no tag is there", "wrong-data-offset",
     "the file does not play", kRemux, flv::DamageKind::kHeaderOffset, Severity::kError},
};
static_assert(std::size(kDamageTexts) == flv::kDamageKinds);

/// The plug-in measures an audio bit rate only if there is more audio than this, in ms.
constexpr std::uint32_t kMeasuredAudio = 5000;
/// Limits, in ms and packets, beyond which the merge sorter no longer waits for the other stream.
constexpr std::uint32_t kSorterTimespan = 10'000;
constexpr std::uint32_t kSorterPackets = 1000;
constexpr std::uint64_t kMaxFileSize = 0xFFFFFFFF;

/// Sound formats and video codecs that RTMP players commonly decode, by their numbers in the published FLV format.
constexpr std::array<std::uint8_t, 10> kKnownSounds = {0, 1, 2, 3, 4, 5, 6, flv::kSoundAac, 11, 14};
constexpr std::array<std::uint8_t, 6> kKnownCodecs = {flv::kCodecSorenson, flv::kCodecScreen,  flv::kCodecVp6,
                                                      flv::kCodecVp6Alpha, flv::kCodecScreen2, flv::kCodecAvc};

class Examination {
 public:
  explicit Examination(const flv::FileFacts& facts) : m_facts(facts) {}

  std::vector<Finding> Run() {
    if (!m_facts.isFlv) {
      Add("not-flv", Severity::kError, "not an FLV file: its header is incomplete", "no host opens it", "");
      return std::move(m_findings);
    }
    AddDamage();
    ExamineStreams();
    ExamineCodecs(m_facts.audio, m_facts.audio.format == flv::kSoundAac, "audio");
    ExamineCodecs(m_facts.video, m_facts.video.codec == flv::kCodecAvc, "video");
    ExamineVideo();
    ExamineTimes();
    m_facts.metadata ? ExamineMetadata() : ReportMissingMetadata();
    ExamineKeyFrameList();
    if (m_facts.TagCount() == 0) {
      // No command makes a file that plays out of this one.
      for (Finding& finding : m_findings) finding.remedy = {};
    }
    std::ranges::stable_sort(m_findings, {}, [](const Finding& finding) {
      return std::pair(finding.severity, finding.offset.value_or(std::numeric_limits<std::uint64_t>::max()));
    });
    return std::move(m_findings);
  }

 private:
  void Add(std::string_view name, Severity severity, std::string what, std::string_view consequence,
           std::string_view remedy, std::optional<std::uint64_t> offset = {}, std::optional<std::uint32_t> time = {}) {
    m_findings.push_back({name, severity, std::move(what), consequence, remedy, offset, time});
  }

  void AddDamage() {
    for (const DamageText& text : kDamageTexts) {
      const flv::DamageList::Total& total = m_facts.damages.Of(text.kind);
      if (total.count == 0) continue;
      const auto first = std::ranges::find(m_facts.damages.Places(), text.kind, &flv::Damage::kind);
      Add(text.name, text.severity, fmt::format(fmt::runtime(text.text), total.amount, total.count), text.consequence,
          text.remedy, first->offset, first->time);
      m_findings.back().count = total.count;
    }
    if (m_facts.fileSize > kMaxFileSize) {
      Add("large-file", Severity::kError, "the file has 4 GiB or more", "a plain host does not open it", kRemux);
    }
  }

  void ExamineStreams() {
    if (m_facts.TagCount() == 0) {
      Add("no-media", Severity::kError, "there is no audio or video", "nothing can be played", "");
      return;
    }
    const auto compare = [&](const flv::StreamFacts& stream, std::uint8_t flag, std::string_view kind) {
      const bool isAnnounced = (m_facts.flags & flag) != 0;
      if (isAnnounced && !stream.IsPresent()) {
        Add("absent-stream", Severity::kError, fmt::format("the file header announces {}, but there is none", kind),
            "packets of the other stream wait for it; some are delivered late or not at all", kRemux, 0);
      }
      if (!isAnnounced && stream.IsPresent()) {
        Add("hidden-stream", Severity::kError, fmt::format("the file header does not announce the {}", kind),
            "that stream is not played", kRemux, stream.firstOffset, stream.firstTime);
      }
    };
    compare(m_facts.audio, flv::kAnnouncesAudio, "audio");
    compare(m_facts.video, flv::kAnnouncesVideo, "video");
    if (HasTimeJumps()) return;  // a jump explains loose interleaving
    for (const flv::StreamFacts* const stream :
         {static_cast<const flv::StreamFacts*>(&m_facts.audio), static_cast<const flv::StreamFacts*>(&m_facts.video)}) {
      if (stream->maxTimeAhead <= kSorterTimespan && stream->maxTagsAhead <= kSorterPackets) continue;
      Add("loose-interleaving", Severity::kWarning,
          fmt::format("{} runs ahead of the other stream by up to {} ms and {} tags in a row",
                      stream == &m_facts.audio ? "audio" : "video", stream->maxTimeAhead, stream->maxTagsAhead),
          "packets are delivered out of time order", "a larger preference FLVMergeSorterMaxTimespan; it takes memory");
    }
  }

  void ExamineCodecs(const flv::StreamFacts& stream, bool needsConfiguration, std::string_view kind) {
    if (!stream.IsPresent()) return;
    if (needsConfiguration && stream.configurations == 0) {
      Add("no-configuration", Severity::kError, fmt::format("the {} has no codec configuration", kind),
          "players cannot decode that stream", "", stream.firstOffset, stream.firstTime);
    }
    const bool isAudio = &stream == static_cast<const flv::StreamFacts*>(&m_facts.audio);
    const bool isKnown = isAudio
                             ? std::ranges::count(kKnownSounds, m_facts.audio.format) > 0
                             : m_facts.video.fourCc == 0 && std::ranges::count(kKnownCodecs, m_facts.video.codec) > 0;
    if (isKnown) return;
    Add("unusual-codec", Severity::kWarning, fmt::format("the {} codec is one that few RTMP players support", kind),
        "those players do not play that stream", "", stream.firstOffset, stream.firstTime);
  }

  void ExamineVideo() {
    const flv::VideoFacts& video = m_facts.video;
    if (video.frames == 0 || video.startsWithKeyFrame) return;
    Add("no-first-key-frame", Severity::kWarning, "the video does not begin with a key frame",
        "players show nothing, or artefacts, before the first key frame", "", video.firstOffset, video.firstTime);
  }

  void ExamineTimes() {
    const std::uint32_t first = m_facts.FirstFrameTime();
    if (first <= 1000) return;
    Add("late-start", Severity::kNote, fmt::format("timestamps begin at {} ms", first),
        "players that count from 0 wait, or show a wrong position", kRebase, std::nullopt, first);
  }

  /// Returns true if timestamps of frames jump. Times before and after a jump cannot be compared.
  bool HasTimeJumps() const {
    const flv::DamageList& damages = m_facts.damages;
    return damages.Of(flv::DamageKind::kTimeBack).count + damages.Of(flv::DamageKind::kTimeLeap).count > 0;
  }

  const flv::AmfValue* Metadata(std::string_view name) const {
    const flv::AmfValue* const value = m_facts.metadata ? m_facts.metadata->values.Find(name) : nullptr;
    return value != nullptr && value->IsNumber() ? value : nullptr;
  }

  void ReportMissingMetadata() {
    Add("no-metadata", Severity::kWarning, "there is no metadata",
        "headers contain only measured values, and every first seek scans the file", kRemux);
    ExamineOpening();
  }

  /// The header scan continues to the end of the file until it has found all that the headers need.
  void ExamineOpening() {
    const flv::VideoFacts& video = m_facts.video;
    const bool hasPictureSize = Metadata("width") != nullptr && Metadata("height") != nullptr;
    if (video.frames > 0 && video.codec == flv::kCodecAvc && !hasPictureSize) {
      Add("no-picture-size", Severity::kWarning, "the metadata lacks the picture size of the H.264 video",
          "opening reads the whole file, with two reads per tag", kRemux);
      m_findings.back().what += fmt::format("; opening takes about {} reads", 2 * m_facts.TagCount());
    }
    const flv::AudioFacts& audio = m_facts.audio;
    if (audio.frames > 0 && audio.Duration() <= kMeasuredAudio && Metadata("audiodatarate") == nullptr) {
      Add("short-audio", Severity::kError, "there is too little audio to measure its bit rate, and no metadata has it",
          "the audio gets no stream header, so a host cannot play it", kRemux, audio.firstOffset, audio.firstTime);
    }
  }

  void CompareNumber(std::string_view field, double measured, double tolerance, std::string_view name,
                     std::string_view consequence) {
    const flv::AmfValue* const value = Metadata(field);
    if (value == nullptr || measured <= 0) return;
    // A recorder that was interrupted leaves 0, which means "unknown".
    if (value->Number() != 0 && std::abs(value->Number() - measured) <= tolerance) return;
    Add(name, Severity::kWarning,
        fmt::format("{} is {:g} in the metadata, but {:g} as measured", field, value->Number(), measured), consequence,
        kRemux, m_facts.metadata->offset);
  }

  void ExamineMetadata() {
    constexpr double kPerKilobit = 1000;
    const std::int32_t milliseconds = flv::TimeBetween(m_facts.FirstFrameTime(), m_facts.latestContinuedTime);
    const double length = static_cast<double>(milliseconds) / 1000;
    CompareNumber("duration", length, std::max(1.0, length / 50), "wrong-duration",
                  "players show a wrong length, and seeks near the end may fail");
    ExamineOpening();
    if (HasTimeJumps()) return;
    const auto rate = [&](std::string_view field, const flv::StreamFacts& stream) {
      const double measured = std::round(stream.BitRate() / kPerKilobit);
      CompareNumber(field, measured, std::max(8.0, measured / 2), "wrong-rate",
                    "headers tell hosts and players a wrong bit rate");
    };
    rate("audiodatarate", m_facts.audio);
    rate("videodatarate", m_facts.video);
  }

  void ExamineKeyFrameList() {
    if (!m_facts.video.IsPresent() || !m_facts.metadata) return;
    const flv::OwnMetadata& metadata = *m_facts.metadata;
    if (!metadata.hasKeyFrameList) {
      const flv::AmfValue* const claim = metadata.values.Find("hasKeyframes");
      const bool isClaimed =
          claim != nullptr && claim->GetType() == flv::AmfValue::Type::kBoolean && claim->Number() != 0;
      Add(isClaimed ? "claimed-key-frame-list" : "no-key-frame-list", isClaimed ? Severity::kWarning : Severity::kNote,
          isClaimed ? "the metadata claims a key-frame list, but has none" : "there is no key-frame list",
          "every first seek scans the file up to its target", kRemux, metadata.offset);
      return;
    }
    const std::size_t wrong = WrongKeyPositions(metadata);
    if (wrong == 0 && metadata.keyTimes.size() == metadata.keyPositions.size()) return;
    Add("wrong-key-frame-list", Severity::kWarning,
        fmt::format("{} of {} positions in the key-frame list are wrong", wrong, metadata.keyPositions.size()),
        "seeks find no packets, or begin with frames that cannot be decoded", kRemux, metadata.offset);
  }

  std::size_t WrongKeyPositions(const flv::OwnMetadata& metadata) const {
    return static_cast<std::size_t>(std::ranges::count_if(metadata.keyPositions, [&](double position) {
      if (!(position >= 0) || position > static_cast<double>(m_facts.fileSize)) return true;
      const auto offset = static_cast<std::uint64_t>(position);
      const std::uint32_t tag = m_facts.TagAt(offset);
      if (tag >= m_facts.TagCount() || m_facts.TagOffset(tag) != offset) return true;
      return !std::ranges::binary_search(m_facts.keyPositions, tag, {}, &flv::KeyPosition::tag);
    }));
  }

  const flv::FileFacts& m_facts;
  std::vector<Finding> m_findings;
};

}  // namespace

std::string_view SeverityName(Severity severity) {
  constexpr std::string_view kNames[] = {"error", "warning", "note"};
  return kNames[static_cast<std::size_t>(severity)];
}

std::string_view NameOf(flv::DamageKind kind) { return kDamageTexts[static_cast<std::size_t>(kind)].name; }

std::vector<Finding> FindFaults(const flv::FileFacts& facts) { return Examination(facts).Run(); }

}  // namespace qbflv::cli
