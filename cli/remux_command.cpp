// `qbflv remux`: writes the delivered packets to a new FLV file.
#include "cli/remux_command.h"

#include <fmt/format.h>
#include <unistd.h>

#include <cstdio>
#include <nlohmann/json.hpp>
#include <system_error>
#include <utility>
#include <vector>

#include "cli/flv_writer.h"
#include "cli/interrupt.h"
#include "cli/output.h"
#include "cli/time_option.h"
#include "host/host_error.h"

namespace qbflv::cli {

namespace {

/// Maximum length of the key-frame list, about 1.8 MB. Only films that consist of key frames have more.
constexpr std::size_t kMaxKeyFrames = 100'000;

struct Missing {
  std::uint64_t audio = 0;
  std::uint64_t video = 0;

  bool IsAny() const { return audio > 0 || video > 0; }
};

/// Returns the number of playable tags that a copy of the whole file lacks.
Missing CountMissing(const PartWriter& part, const flv::FileFacts& facts) {
  const auto missing = [&](flv::TagType type, std::uint64_t tags) {
    const std::uint64_t written = part.Packets(type);
    return tags > written ? tags - written : 0;
  };
  return {missing(flv::TagType::kAudio, facts.audio.tags), missing(flv::TagType::kVideo, facts.video.tags)};
}

}  // namespace

RemuxCommand::RemuxCommand(CLI::App& app)
    : FileCommand(app, "remux", "Write the packets that the plug-in delivers to a new FLV file.",
                  "qbflv remux --start 1:00 --end 1:30 --rebase film.flv part.flv") {
  Parser()
      .add_option("OUT", m_target,
                  "The file to write, or - for standard output; it is replaced when the new file is complete")
      ->type_name("");
  Parser().add_flag("--in-place", m_inPlace, "Replace FILE itself, instead of OUT, when the new file is complete");
  AddTimeOption(
      Parser(), "--start", m_part.start,
      "Seek to this time first; the new file begins with the codec configurations and a key frame at or before it");
  AddTimeOption(Parser(), "--end", m_part.end, "Omit packets later than this time");
  Parser().add_flag("--rebase", m_rebase, "Make timestamps begin at 0");
  Parser().add_flag("--retime", MutableOptions().view.retime,
                    "Make timestamps continuous where they jump back or leap ahead");
  Parser().add_flag("--no-index", m_noIndex, "Write no key-frame list");
  Parser().add_flag("--strict", m_strict, "Fail, and write nothing, if a playable tag of FILE is missing");
  Parser().add_flag("--json", m_json, "Print the totals as one JSON object");
  AddRepairOption(Parser(), MutableOptions(), true);
  Parser().parse_complete_callback([this] { CheckArguments(); });
  Parser().footer(
      std::string(kTimeHelp) +
      "The new file is repaired: it has no damage and no empty tags, and begins with correct metadata and a list of\n"
      "its key frames. The command reports playable tags that the new file lacks. A part without packets is an\n"
      "error. Times count from the file's first tag.\n\n" +
      Parser().get_footer());
}

void RemuxCommand::CheckArguments() {
  if (m_part.start && m_part.end && *m_part.end < *m_part.start) {
    throw CLI::ValidationError("--end", "is before --start");
  }
  if (m_target.empty() && !m_inPlace) throw CLI::RequiredError("OUT");
  if (!m_target.empty() && m_inPlace) throw CLI::ValidationError("--in-place", "excludes OUT");
  if (m_strict && !m_part.IsWhole()) throw CLI::ValidationError("--strict", "is for whole files only");
  // A part is rebased from its own first packet instead.
  MutableOptions().view.rebase = m_rebase && !m_part.start;
}

int RemuxCommand::Run() {
  CheckTarget();
  CatchInterrupts();
  Progress progress(true);
  const host::SessionOptions options = SessionOptions(progress);
  const PlayedFile file(options);
  if (file.Facts().TagCount() == 0) throw host::HostError("the file has no audio or video");
  host::Session session(options);
  session.ReadHeaders();
  session.RequireStreamHeaders();
  host::RestartFilter filter = file.MakeRestartFilter(session);
  if (m_part.start) filter.Restart(session.Seek(*m_part.start).OrThrow().offset);

  FlvWriter writer(m_inPlace ? Options().file : m_target, file.Facts(), m_noIndex ? 0 : kMaxKeyFrames);
  PartWriter part(writer, session.StreamTypes(), file.TimeBase(), m_part);
  Prepare(part, file);
  host::PacketHandlers handlers;
  handlers.onPacket = [&](IQBPacket& packet) {
    ThrowIfInterrupted();
    bool wantsMore = true;
    filter.Process(packet, [&](IQBPacket& playable) { wantsMore = part.Write(playable); });
    return wantsMore;
  };
  handlers.onStreamDone = [&](std::uint16_t stream) { return part.EndStream(stream); };
  session.ReadPackets(std::move(handlers));
  const std::string missing = DescribeMissing(part, file);
  if (m_strict && !missing.empty()) throw host::HostError(missing);
  const bool isEmpty = part.Packets(flv::TagType::kAudio) + part.Packets(flv::TagType::kVideo) == 0;
  if (isEmpty && !m_part.IsWhole()) throw host::HostError("there are no packets in this part");
  writer.Commit();
  progress.Clear();
  if (!missing.empty()) PrintError(Subject() + ": " + missing);
  PrintTotals(part, file, writer.Size());
  return kSuccess;
}

/// Rejects a target that is the input file, also through links: the plug-in would read what is being written.
void RemuxCommand::CheckTarget() const {
  std::error_code error;
  if (!m_inPlace && std::filesystem::equivalent(Options().file, m_target, error)) {
    throw host::HostError("OUT is the same file; --in-place replaces it");
  }
  if (m_target == "-" && isatty(STDOUT_FILENO) != 0) throw host::HostError("standard output is a terminal");
}

void RemuxCommand::Prepare(PartWriter& part, const PlayedFile& file) const {
  if (m_rebase && m_part.start) part.RebaseFromFirst();
  if (m_rebase && !m_part.start && !file.IsRepaired()) part.RebaseFrom(file.Facts().FirstFrameTime());
}

/// Returns an empty text if no playable tag is missing, or for a part, whose number of tags is unknown.
std::string RemuxCommand::DescribeMissing(const PartWriter& part, const PlayedFile& file) const {
  const Missing missing = CountMissing(part, file.Facts());
  if (!m_part.IsWhole() || !missing.IsAny()) return {};
  const char* reason = "the plug-in did not deliver them";
  if (!file.IsRepaired()) reason = "the plug-in does not deliver them from the bare file; try without --raw";
  if (file.ReachableTags() < file.Facts().TagCount()) reason = "they are beyond 4 GiB, where the plug-in cannot read";
  return fmt::format("{} of {} audio tags and {} of {} video tags are missing: {}", missing.audio,
                     file.Facts().audio.tags, missing.video, file.Facts().video.tags, reason);
}

/// Prints to standard error if the new file goes to standard output.
void RemuxCommand::PrintTotals(const PartWriter& part, const PlayedFile& file, std::uint64_t size) const {
  const std::uint64_t audio = part.Packets(flv::TagType::kAudio);
  const std::uint64_t video = part.Packets(flv::TagType::kVideo);
  std::string text;
  if (m_json) {
    nlohmann::ordered_json totals = {{"audio_packets", audio}, {"video_packets", video}, {"bytes", size}};
    if (m_part.IsWhole()) {
      const Missing missing = CountMissing(part, file.Facts());
      totals["missing_audio_packets"] = missing.audio;
      totals["missing_video_packets"] = missing.video;
    }
    text = totals.dump() + "\n";
  } else {
    if (file.Facts().audio.IsPresent()) text += fmt::format("{:6}  {:10} packets\n", "audio", audio);
    if (file.Facts().video.IsPresent()) text += fmt::format("{:6}  {:10} packets\n", "video", video);
    text += fmt::format("{:6}  {:10} bytes\n", "file", size);
  }
  if (m_target == "-") {
    std::fputs(text.c_str(), stderr);
    return;
  }
  Output output;
  output.Print("{}", text);
  output.Flush();
}

}  // namespace qbflv::cli
