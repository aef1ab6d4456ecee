// `qbflv remux`: the delivered packets as a new FLV file.
#include "cli/remux_command.h"

#include <vector>

#include "cli/interrupt.h"
#include "cli/output.h"
#include "cli/progress.h"
#include "host/buffer.h"
#include "host/flv_writer.h"
#include "host/host_error.h"
#include "host/session.h"

namespace qbflv::cli {

namespace {

// Tag types; each stream says which one is its own.
constexpr std::uint8_t kAudioTag = 8;
constexpr std::uint8_t kVideoTag = 9;

/// The tag type of each stream.
std::vector<std::uint8_t> TagTypes(const host::Session& session) {
  std::vector<std::uint8_t> types;
  for (const host::StreamHeader& header : session.StreamHeaders()) {
    const host::Property* const type = header.properties->Find("PayloadType");
    const bool known = type != nullptr && type->kind == host::Property::Kind::kNumber &&
                       (type->number == kAudioTag || type->number == kVideoTag);
    if (!known) throw host::HostError(fmt::format("stream {} is neither audio nor video", types.size()));
    types.push_back(static_cast<std::uint8_t>(type->number));
  }
  return types;
}

host::FlvWriter::Streams Announce(const std::vector<std::uint8_t>& types) {
  host::FlvWriter::Streams streams;
  for (const std::uint8_t type : types) (type == kAudioTag ? streams.audio : streams.video) = true;
  return streams;
}

}  // namespace

RemuxCommand::RemuxCommand(CLI::App& app)
    : Command(app, "remux", "Write the packets that the plug-in delivers as a new FLV file.",
              "qbflv remux film.flv copy.flv") {
  Parser()
      .add_option("OUT", m_target, "The file to write; it is replaced only when the new one is complete")
      ->required()
      ->type_name("");
}

void RemuxCommand::Run() {
  Progress progress(true);
  host::Session session(
      MakeSessionOptions(Options(), [&](std::uint64_t offset, std::uint64_t size) { progress.Update(offset, size); }));
  session.ReadHeaders();
  session.RequireStreamHeaders();
  const std::vector<std::uint8_t> types = TagTypes(session);

  CatchInterrupts();
  host::FlvWriter writer(m_target, Announce(types));
  std::vector<std::uint64_t> packets(types.size());
  host::PacketHandlers handlers;
  handlers.onPacket = [&](IQBPacket& packet) {
    if (IsInterrupted()) throw host::HostError("interrupted");
    const auto buffer = ComPtr<IQBBuffer>::Adopt(packet.GetPacketBuffer());
    const std::uint16_t stream = packet.GetStreamNumber();
    writer.WriteTag(types[stream], packet.GetTime(), host::BufferBytes(buffer.Get()));
    ++packets[stream];
    return true;
  };
  handlers.onStreamDone = [](std::uint16_t) { return true; };
  session.ReadPackets(std::move(handlers));
  writer.Commit();
  progress.Wipe();

  Output output;
  for (std::size_t stream = 0; stream < types.size(); ++stream) {
    output.Print("{:6}  {:10} packets\n", types[stream] == kAudioTag ? "audio" : "video", packets[stream]);
  }
  output.Print("{:6}  {:10} bytes\n", "file", writer.Size());
  output.Flush();
}

}  // namespace qbflv::cli
