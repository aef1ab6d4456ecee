// `qbflv seek`: what seeks cost and where they lead.
#include "cli/seek_command.h"

#include <algorithm>
#include <iterator>
#include <optional>
#include <string>

#include "cli/output.h"
#include "cli/progress.h"
#include "host/host_error.h"
#include "host/session.h"

namespace qbflv::cli {

namespace {

/// What a stream gives first after a seek.
struct First {
  bool known = false;
  /// No packet at all.
  bool done = false;
  std::uint32_t time = 0;
  std::uint8_t flags = 0;
};

/// Asks every live stream until each has given one packet or has ended.
std::vector<First> ReadFirstPackets(host::Session& session) {
  std::vector<First> firsts(session.StreamHeaders().size());
  const auto note = [&](std::uint16_t stream, const First& first) {
    if (!firsts[stream].known) firsts[stream] = first;
    return !std::ranges::all_of(firsts, &First::known);
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

void PrintHead(Output& output, std::size_t streamCount) {
  output.Print("      seek      status   reads   seeks");
  for (std::size_t stream = 0; stream < streamCount; ++stream) {
    output.Print("  {:>12}  flags", fmt::format("stream {} at", stream));
  }
  output.Print("\n");
}

void PrintLine(Output& output, std::uint32_t time, const host::SeekResult& result, const std::vector<First>& firsts) {
  const auto status = static_cast<std::uint32_t>(result.status);
  output.Print("{:10}  0x{:08x}  {:6}  {:6}", time, status, result.counts.reads, result.counts.seeks);
  for (const First& first : firsts) {
    if (first.done) {
      output.Print("  {:>12}       ", "done");
    } else {
      output.Print("  {:12}  {:5}", first.time, first.flags);
    }
  }
  output.Print("\n");
}

void PrintJson(Output& output, std::uint32_t time, const host::SeekResult& result, const std::vector<First>& firsts) {
  const auto status = static_cast<std::uint32_t>(result.status);
  output.Print(R"({{"seek":{},"status":"0x{:08x}","reads":{},"seeks":{},"first":[)", time, status, result.counts.reads,
               result.counts.seeks);
  for (std::size_t stream = 0; stream < firsts.size(); ++stream) {
    const First& first = firsts[stream];
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
    : Command(app, "seek", "Seek to each time in turn, and show what it takes and where delivery restarts.",
              "qbflv seek --after-play film.flv 0 60000 30000") {
  Parser()
      .add_option("MS", m_times, "The times, in ms from the file's first tag")
      ->required()
      ->type_name("")
      ->expected(1, -1)
      ->check(IsNumber());
  Parser().add_flag("--after-play", m_afterPlay, "Play the whole file first, so that every position is known");
  Parser().add_flag("--json", m_json, "Print one JSON object a line");
  Parser().footer(
      "Reads and seeks are those of the file, from the call of Seek to its answer. After a seek that fails no\n"
      "packet is asked for, and the command fails when it has tried the other times.\n\n" +
      Parser().get_footer());
}

void SeekCommand::Run() {
  Progress progress(true);
  host::Session session(
      MakeSessionOptions(Options(), [&](std::uint64_t offset, std::uint64_t size) { progress.Update(offset, size); }));
  session.ReadHeaders();
  session.RequireStreamHeaders();
  if (m_afterPlay) PlayAll(session);
  progress.Wipe();

  Output output;
  if (!m_json) PrintHead(output, session.StreamHeaders().size());
  std::optional<std::uint32_t> failedTime;
  Status failure = kOk;
  for (const std::uint32_t time : m_times) {
    const host::SeekResult result = session.Seek(time);
    std::vector<First> firsts;
    if (Succeeded(result.status)) {
      firsts = ReadFirstPackets(session);
    } else {
      failedTime = time;
      failure = result.status;
    }
    m_json ? PrintJson(output, time, result, firsts) : PrintLine(output, time, result, firsts);
  }
  output.Flush();
  if (failedTime) throw host::HostError(fmt::format("cannot seek to {} ms", *failedTime), failure);
}

}  // namespace qbflv::cli
