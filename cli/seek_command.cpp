// `qbflv seek`: shows the file operations of seeks and the first packets after them.
#include "cli/seek_command.h"

#include <algorithm>
#include <iterator>
#include <optional>
#include <string>

#include "cli/output.h"
#include "cli/time_option.h"
#include "host/session.h"
#include "host/status_text.h"

namespace qbflv::cli {

namespace {

/// A stream's first packet after a seek.
struct FirstPacket {
  bool known = false;
  /// The stream ended without a packet.
  bool done = false;
  std::uint32_t time = 0;
  std::uint8_t flags = 0;
};

/// Delivers until every stream has delivered a packet or ended.
std::vector<FirstPacket> ReadFirstPackets(host::Session& session) {
  std::vector<FirstPacket> firsts(session.StreamHeaders().size());
  const auto note = [&](std::uint16_t stream, const FirstPacket& first) {
    if (!firsts[stream].known) firsts[stream] = first;
    return !std::ranges::all_of(firsts, &FirstPacket::known);
  };
  host::PacketHandlers handlers;
  handlers.onPacket = [&](IQBPacket& packet) {
    return note(packet.GetStreamNumber(), {.known = true, .time = packet.GetTime(), .flags = packet.GetASMFlags()});
  };
  handlers.onStreamDone = [&](std::uint16_t stream) { return note(stream, {.known = true, .done = true}); };
  session.ReadPackets(std::move(handlers));
  return firsts;
}

void PlayAll(host::Session& session) {
  session.ReadPackets(
      {.onPacket = [](IQBPacket&) { return true; }, .onStreamDone = [](std::uint16_t) { return true; }});
}

void PrintHeading(Output& output, std::size_t streamCount) {
  output.Print("      seek      status   reads   seeks");
  for (std::size_t stream = 0; stream < streamCount; ++stream) {
    output.Print("  {:>12}  flags", fmt::format("stream {} at", stream));
  }
  output.Print("\n");
}

void PrintLine(Output& output, const host::SeekResult& result, const std::vector<FirstPacket>& firsts) {
  output.Print("{:10}  {}  {:6}  {:6}", result.time, host::StatusHex(result.status), result.counts.reads,
               result.counts.seeks);
  for (const FirstPacket& first : firsts) {
    if (first.done) {
      output.Print("  {:>12}       ", "done");
    } else {
      output.Print("  {:12}  {:5}", first.time, first.flags);
    }
  }
  output.Print("\n");
}

void PrintJson(Output& output, const host::SeekResult& result, const std::vector<FirstPacket>& firsts) {
  output.Print(R"({{"seek":{},"status":"{}","reads":{},"seeks":{},"first":[)", result.time,
               host::StatusHex(result.status), result.counts.reads, result.counts.seeks);
  for (std::size_t stream = 0; stream < firsts.size(); ++stream) {
    const FirstPacket& first = firsts[stream];
    if (stream > 0) output.Print(",");
    if (first.done) {
      output.Print(R"({{"stream":{},"done":true}})", stream);
    } else {
      output.Print(R"({{"stream":{},"time":{},"asm_flags":{}}})", stream, first.time, first.flags);
    }
  }
  output.Print("]}}\n");
}

}  // namespace

SeekCommand::SeekCommand(CLI::App& app)
    : FileCommand(app, "seek", "Seek to each time in turn; show the file operations and each stream's first packet.",
                  "qbflv seek --after-play film.flv 0 60000 30000") {
  Parser()
      .add_option("TIME", m_times, "The times; they count from the file's first tag")
      ->required()
      ->type_name("")
      ->expected(1, -1)
      ->transform(TimeToMilliseconds());
  Parser().add_flag("--after-play", m_afterPlay, "Play the whole file first, so that the index is complete");
  AddRepairOption(Parser(), MutableOptions(), false);
  Parser().add_flag("--json", m_json, "Print one JSON object per line");
  Parser().footer(
      std::string(kTimeHelp) +
      "The columns reads and seeks count the file operations of each seek. A failed seek shows no packets; the\n"
      "command then continues with the other times and ends with exit status 1.\n\n" +
      Parser().get_footer());
}

int SeekCommand::Run() {
  Progress progress(true);
  host::Session session(SessionOptions(progress));
  session.ReadHeaders();
  session.RequireStreamHeaders();
  if (m_afterPlay) PlayAll(session);
  progress.Clear();

  Output output;
  if (!m_json) PrintHeading(output, session.StreamHeaders().size());
  std::optional<host::SeekResult> failure;
  for (const std::uint32_t time : m_times) {
    const host::SeekResult result = session.Seek(time);
    std::vector<FirstPacket> firsts;
    if (Succeeded(result.status)) {
      firsts = ReadFirstPackets(session);
    } else {
      failure = result;
    }
    m_json ? PrintJson(output, result, firsts) : PrintLine(output, result, firsts);
  }
  output.Flush();
  if (failure) failure->OrThrow();
  return kSuccess;
}

}  // namespace qbflv::cli
