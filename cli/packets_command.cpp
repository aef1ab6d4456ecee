// `qbflv packets`: shows every packet in the order of delivery.
#include "cli/packets_command.h"

#include <unistd.h>
#include <zlib.h>

#include <limits>
#include <memory>
#include <vector>

#include "cli/output.h"
#include "cli/time_option.h"
#include "host/buffer.h"
#include "host/host_error.h"
#include "host/session.h"

namespace qbflv::cli {

namespace {

/// Receives the selected packets.
class PacketReport {
 public:
  PacketReport() = default;
  PacketReport(const PacketReport&) = delete;
  PacketReport& operator=(const PacketReport&) = delete;
  virtual ~PacketReport() = default;

  virtual void Begin() {}
  virtual void Packet(IQBPacket& packet) = 0;
  virtual void StreamDone(std::uint16_t stream) = 0;
  virtual void End() {}
};

std::span<const std::uint8_t> PacketBytes(IQBPacket& packet, ComPtr<IQBBuffer>& owner) {
  owner = ComPtr<IQBBuffer>::Adopt(packet.GetPacketBuffer());
  return host::BufferBytes(owner.Get());
}

/// Prints one line for each packet.
class Listing final : public PacketReport {
 public:
  Listing(Output& output, bool json) : m_output(output), m_json(json) {}

  void Begin() override {
    if (!m_json) m_output.Print("stream        time      size  flags  rule  crc32\n");
  }

  void Packet(IQBPacket& packet) override {
    ComPtr<IQBBuffer> owner;
    const std::span<const std::uint8_t> bytes = PacketBytes(packet, owner);
    const auto crc = crc32_z(0, bytes.data(), bytes.size());
    const std::uint16_t stream = packet.GetStreamNumber();
    const std::uint32_t time = packet.GetTime();
    const std::uint32_t flags = packet.GetASMFlags();
    const std::uint16_t rule = packet.GetASMRuleNumber();
    if (m_json) {
      m_output.Print(R"({{"stream":{},"time":{},"size":{},"asm_flags":{},"asm_rule":{},"crc32":"{:08x}"}})"
                     "\n",
                     stream, time, bytes.size(), flags, rule, crc);
    } else {
      m_output.Print("{:6}  {:10}  {:8}  {:5}  {:4}  {:08x}\n", stream, time, bytes.size(), flags, rule, crc);
    }
  }

  void StreamDone(std::uint16_t stream) override {
    if (m_json) {
      m_output.Print(R"({{"stream":{},"done":true}})"
                     "\n",
                     stream);
    } else {
      m_output.Print("{:6}        done\n", stream);
    }
  }

 private:
  Output& m_output;
  const bool m_json;
};

/// Prints one line for each stream at the end.
class Totals final : public PacketReport {
 public:
  Totals(Output& output, bool json, std::size_t streamCount, std::optional<std::uint16_t> onlyStream)
      : m_output(output), m_json(json), m_streams(streamCount), m_onlyStream(onlyStream) {}

  void Packet(IQBPacket& packet) override {
    ComPtr<IQBBuffer> owner;
    Total& total = m_streams[packet.GetStreamNumber()];
    ++total.packets;
    total.bytes += PacketBytes(packet, owner).size();
  }

  void StreamDone(std::uint16_t /*stream*/) override {}

  void End() override {
    if (!m_json) m_output.Print("stream     packets           bytes\n");
    for (std::size_t stream = 0; stream < m_streams.size(); ++stream) {
      if (m_onlyStream && *m_onlyStream != stream) continue;
      const Total& total = m_streams[stream];
      if (m_json) {
        m_output.Print(R"({{"stream":{},"packets":{},"bytes":{}}})"
                       "\n",
                       stream, total.packets, total.bytes);
      } else {
        m_output.Print("{:6}  {:10}  {:14}\n", stream, total.packets, total.bytes);
      }
    }
  }

 private:
  struct Total {
    std::uint64_t packets = 0;
    std::uint64_t bytes = 0;
  };

  Output& m_output;
  const bool m_json;
  std::vector<Total> m_streams;
  const std::optional<std::uint16_t> m_onlyStream;
};

}  // namespace

PacketsCommand::PacketsCommand(CLI::App& app)
    : FileCommand(app, "packets", "Show every packet in the order in which the plug-in delivers it.",
                  "qbflv packets --stream 1 --limit 20 film.flv") {
  AddRepairOption(Parser(), MutableOptions(), false);
  Parser().add_flag("--json", m_json, "Print one JSON object per line");
  Parser()
      .add_option("--stream", m_stream, "Show this stream only; the other streams are delivered but not shown")
      ->type_name("N")
      ->check(NumberUpTo(std::numeric_limits<std::uint16_t>::max()));
  Parser()
      .add_option("--limit", m_limit, "Stop after this many shown packets; with 0, read the headers only")
      ->type_name("N")
      ->check(NumberUpTo(std::numeric_limits<std::uint64_t>::max()));
  AddTimeOption(Parser(), "--start", m_start, "Seek to this time first; it counts from the file's first tag");
  Parser().add_flag("--count", m_count, "Print the totals of each stream instead of its packets");
  Parser().footer(
      std::string(kTimeHelp) +
      "With --json a line is a packet, with the fields stream, time, size, asm_flags, asm_rule and crc32, or the end\n"
      "of a stream, with the fields stream and done. With --count a line has the fields stream, packets and "
      "bytes.\n\n" +
      Parser().get_footer());
}

int PacketsCommand::Run() {
  // A listing on the terminal already shows the progress.
  Progress progress(m_count || isatty(STDOUT_FILENO) == 0);
  host::Session session(SessionOptions(progress));
  session.ReadHeaders();
  const std::size_t streamCount = session.StreamHeaders().size();
  if (m_stream && *m_stream >= streamCount) {
    throw host::HostError(fmt::format("there is no stream {}; the file has {}", *m_stream, streamCount));
  }

  Output output;
  std::unique_ptr<PacketReport> report;
  if (m_count) {
    report = std::make_unique<Totals>(output, m_json, streamCount, m_stream);
  } else {
    report = std::make_unique<Listing>(output, m_json);
  }
  std::uint64_t shown = 0;
  const auto limitReached = [&] { return m_limit && shown >= *m_limit; };
  const auto isShown = [&](std::uint16_t stream) { return !m_stream || *m_stream == stream; };

  session.RequireStreamHeaders();
  if (m_start) session.Seek(*m_start).OrThrow();
  report->Begin();
  host::PacketHandlers handlers;
  handlers.onPacket = [&](IQBPacket& packet) {
    if (!isShown(packet.GetStreamNumber())) return true;
    report->Packet(packet);
    ++shown;
    return !limitReached();
  };
  handlers.onStreamDone = [&](std::uint16_t stream) {
    if (isShown(stream)) report->StreamDone(stream);
    return !m_stream || *m_stream != stream;
  };
  if (!limitReached()) session.ReadPackets(std::move(handlers));
  progress.Clear();
  report->End();
  output.Flush();
  return kSuccess;
}

}  // namespace qbflv::cli
