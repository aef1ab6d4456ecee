// `qbflv remux`: the delivered packets as a new FLV file.
#include "cli/remux_command.h"

#include <algorithm>
#include <span>
#include <string_view>
#include <utility>
#include <vector>

#include "cli/interrupt.h"
#include "cli/output.h"
#include "cli/progress.h"
#include "cli/seeking.h"
#include "host/buffer.h"
#include "host/first_tags.h"
#include "host/flv_writer.h"
#include "host/host_error.h"
#include "host/metadata_edit.h"
#include "host/session.h"

namespace qbflv::cli {

namespace {

// Tag types; each stream says which one is its own.
constexpr std::uint8_t kAudioTag = 8;
constexpr std::uint8_t kVideoTag = 9;
constexpr std::uint8_t kScriptTag = 18;

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

/// What the metadata says of the whole file as it was, and no longer holds for what is written.
constexpr std::string_view kPlaces[] = {"keyframes", "filesize",  "lastkeyframelocation",
                                        "datasize",  "videosize", "audiosize"};
constexpr std::string_view kPlacesAndTimes[] = {"keyframes", "filesize",      "lastkeyframelocation",
                                                "datasize",  "videosize",     "audiosize",
                                                "duration",  "lasttimestamp", "lastkeyframetimestamp"};

/// Writes what a player needs to start, and then the packets of the wanted part.
class PartWriter {
 public:
  struct Part {
    /// In ms, counted from the file's first tag.
    std::optional<std::uint32_t> end;
    bool isCut = false;
    bool rebase = false;
  };

  PartWriter(host::FlvWriter& writer, const std::vector<std::uint8_t>& types, host::FirstTags first, Part part)
      : m_writer(writer), m_first(std::move(first)), m_part(part) {
    for (const std::uint8_t type : types) m_streams.push_back({.type = type});
  }

  /// False when every stream is past the end.
  bool Write(IQBPacket& packet) {
    const auto buffer = ComPtr<IQBBuffer>::Adopt(packet.GetPacketBuffer());
    const std::span<const std::uint8_t> body = host::BufferBytes(buffer.Get());
    Stream& stream = m_streams[packet.GetStreamNumber()];
    if (m_part.end && packet.GetTime() - m_first.timeBase > *m_part.end) {
      stream.ended = true;
      return !std::ranges::all_of(m_streams, &Stream::ended);
    }
    if (!m_firstTime) Begin(packet.GetTime());
    // Delivered as well where delivery restarts at the start of the file.
    if (stream.packets == 0 && stream.configured && std::ranges::equal(body, Configuration(stream.type))) return true;
    m_writer.WriteTag(stream.type, Rebased(packet.GetTime()), body);
    ++stream.packets;
    return true;
  }

  /// Without it the stream would keep the rest waiting for its end.
  bool EndStream(std::uint16_t stream) {
    m_streams[stream].ended = true;
    return !std::ranges::all_of(m_streams, &Stream::ended);
  }

  /// Called last. A part without packets still says what it is a part of.
  void End() {
    if (!m_firstTime) Begin(0);
  }

  void PrintTotals(Output& output) const {
    for (const Stream& stream : m_streams) {
      output.Print("{:6}  {:10} packets\n", stream.type == kAudioTag ? "audio" : "video", stream.packets);
    }
  }

 private:
  struct Stream {
    std::uint8_t type = 0;
    std::uint64_t packets = 0;
    bool configured = false;
    bool ended = false;
  };

  const std::vector<std::uint8_t>& Configuration(std::uint8_t type) const {
    return type == kAudioTag ? m_first.audioConfiguration : m_first.videoConfiguration;
  }

  void Begin(std::uint32_t time) {
    m_firstTime = time;
    const std::span<const std::string_view> untrue =
        m_part.isCut ? std::span<const std::string_view>(kPlacesAndTimes) : std::span<const std::string_view>(kPlaces);
    const auto metadata = host::WithoutEntries(m_first.metadata, untrue);
    if (!metadata.empty()) m_writer.WriteTag(kScriptTag, Rebased(time), metadata);
    if (!m_part.isCut) return;
    for (Stream& stream : m_streams) {
      const std::vector<std::uint8_t>& configuration = Configuration(stream.type);
      if (configuration.empty()) continue;
      m_writer.WriteTag(stream.type, Rebased(time), configuration);
      stream.configured = true;
    }
  }

  /// A packet that is older than the first one written counts as old as that.
  std::uint32_t Rebased(std::uint32_t time) const {
    if (!m_part.rebase) return time;
    const std::uint32_t rebased = time - *m_firstTime;
    return static_cast<std::int32_t>(rebased) < 0 ? 0 : rebased;
  }

  host::FlvWriter& m_writer;
  const host::FirstTags m_first;
  const Part m_part;
  std::vector<Stream> m_streams;
  std::optional<std::uint32_t> m_firstTime;
};

}  // namespace

RemuxCommand::RemuxCommand(CLI::App& app)
    : Command(app, "remux", "Write the packets that the plug-in delivers as a new FLV file.",
              "qbflv remux --start 60000 --end 90000 --rebase film.flv part.flv") {
  Parser()
      .add_option("OUT", m_target, "The file to write; it is replaced only when the new one is complete")
      ->required()
      ->type_name("");
  AddTimeOption(
      Parser(), "--start", m_start,
      "Begin where delivery restarts for this time: at a key frame before it, with the codecs' configurations "
      "in front");
  AddTimeOption(Parser(), "--end", m_end, "Leave out what is later than this time");
  Parser().add_flag("--rebase", m_rebase, "Let times begin at 0");
  Parser().footer(
      "The file's metadata comes first, without entries that no longer hold: places in the file, and with\n"
      "--start or --end the duration. Times are in ms from the file's first tag.\n\n" +
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
  if (m_start) SeekOrThrow(session, *m_start);

  CatchInterrupts();
  host::FlvWriter writer(m_target, Announce(types));
  PartWriter part(writer, types, std::move(first),
                  {.end = m_end, .isCut = m_start.has_value() || m_end.has_value(), .rebase = m_rebase});
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
