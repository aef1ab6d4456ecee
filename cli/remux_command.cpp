// `qbflv remux`: the delivered packets as a new FLV file.
#include "cli/remux_command.h"

#include <utility>
#include <vector>

#include "cli/interrupt.h"
#include "cli/output.h"
#include "cli/part_writer.h"
#include "cli/progress.h"
#include "cli/seeking.h"
#include "host/first_tags.h"
#include "host/flv_writer.h"
#include "host/host_error.h"
#include "host/session.h"

namespace qbflv::cli {

namespace {

/// The tag type of each stream.
std::vector<std::uint8_t> TagTypes(const host::Session& session) {
  std::vector<std::uint8_t> types;
  for (const host::StreamHeader& header : session.StreamHeaders()) {
    const host::Property* const type = header.properties->Find("PayloadType");
    const bool known = type != nullptr && type->kind == host::Property::Kind::kNumber &&
                       (type->number == host::kAudioTag || type->number == host::kVideoTag);
    if (!known) throw host::HostError(fmt::format("stream {} is neither audio nor video", types.size()));
    types.push_back(static_cast<std::uint8_t>(type->number));
  }
  return types;
}

host::FlvWriter::Streams Announce(const std::vector<std::uint8_t>& types) {
  host::FlvWriter::Streams streams;
  for (const std::uint8_t type : types) (type == host::kAudioTag ? streams.audio : streams.video) = true;
  return streams;
}

}  // namespace

RemuxCommand::RemuxCommand(CLI::App& app)
    : Command(app, "remux", "Write the packets that the plug-in delivers as a new FLV file.",
              "qbflv remux --start 60000 --end 90000 --rebase film.flv part.flv") {
  Parser()
      .add_option("OUT", m_target, "The file to write; it is replaced only when the new one is complete")
      ->required()
      ->type_name("");
  AddTimeOption(
      Parser(), "--start", m_part.start,
      "Begin where delivery restarts for this time: at a key frame before it, with the codecs' configurations "
      "in front");
  AddTimeOption(Parser(), "--end", m_part.end, "Leave out what is later than this time");
  Parser().add_flag("--rebase", m_part.rebase, "Let times begin at 0");
  Parser().parse_complete_callback([this] {
    if (m_part.start && m_part.end && *m_part.end < *m_part.start) {
      throw CLI::ValidationError("--end", "is before --start");
    }
  });
  Parser().footer(
      "The file's metadata comes first, without entries that no longer hold: places in the file, and with\n"
      "--start or --end the duration. With --start, video frames before the first key frame are left out.\n"
      "A part without packets is a failure. Times are in ms from the file's first tag.\n\n" +
      Parser().get_footer());
}

void RemuxCommand::Run() {
  Progress progress(true);
  host::Session session(
      MakeSessionOptions(Options(), [&](std::uint64_t offset, std::uint64_t size) { progress.Update(offset, size); }));
  session.ReadHeaders();
  session.RequireStreamHeaders();
  const std::vector<std::uint8_t> types = TagTypes(session);
  host::FirstTags first = host::ReadFirstTags(Options().file);
  if (m_part.start) SeekOrThrow(session, *m_part.start);

  CatchInterrupts();
  host::FlvWriter writer(m_target, Announce(types));
  PartWriter part(writer, types, std::move(first), m_part);
  host::PacketHandlers handlers;
  handlers.onPacket = [&](IQBPacket& packet) {
    if (IsInterrupted()) throw host::HostError("interrupted");
    return part.Write(packet);
  };
  handlers.onStreamDone = [&](std::uint16_t stream) { return part.EndStream(stream); };
  session.ReadPackets(std::move(handlers));
  part.End();
  writer.Commit();
  progress.Wipe();

  Output output;
  part.PrintTotals(output);
  output.Print("{:6}  {:10} bytes\n", "file", writer.Size());
  output.Flush();
}

}  // namespace qbflv::cli
