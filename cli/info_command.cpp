// `qbflv info`: shows the plug-in's description, the file header and the stream headers.
#include "cli/info_command.h"

#include <algorithm>
#include <nlohmann/json.hpp>

#include "cli/output.h"
#include "host/buffer.h"
#include "host/property_json.h"
#include "host/session.h"
#include "host/status_text.h"

namespace qbflv::cli {

namespace {

/// Preserves the order of the properties.
using Json = nlohmann::ordered_json;

std::string VersionText(const host::PluginInfo& info) { return fmt::format("0x{:08x}", info.version); }

Json SessionAsJson(const host::Session& session) {
  const host::PluginInfo info = session.Describe();
  Json streams = Json::array();
  for (const host::StreamHeader& header : session.StreamHeaders()) {
    streams.push_back(header.properties ? host::ListAsJson(header.properties.Get())
                                        : Json{{"error", host::StatusHex(header.status)}});
  }
  return {{"plugin",
           {{"description", info.description},
            {"version", info.version},
            {"version_text", VersionText(info)},
            {"mime_types", info.mimeTypes},
            {"extensions", info.extensions},
            {"open_names", info.openNames},
            {"packet_formats", info.packetFormats}}},
          {"file_header", host::ListAsJson(&session.FileHeader())},
          {"streams", std::move(streams)}};
}

std::string ValueAsText(const host::Property& property) {
  switch (property.kind) {
    case host::Property::Kind::kNumber:
      return fmt::to_string(property.number);
    case host::Property::Kind::kBytes:
      return host::BufferHex(property.buffer.Get());
    case host::Property::Kind::kText:
      return Printable(host::BufferText(property.buffer.Get()));
  }
  return {};
}

/// Headings with rows of names and values. All values start in the same column.
class Table {
 public:
  void Heading(std::string text) { m_rows.push_back({std::move(text), {}, true}); }
  void Row(const std::string& name, std::string value) { m_rows.push_back({"  " + name, std::move(value), false}); }
  void List(const host::PropertyList& list) {
    for (const host::Property& property : list.Properties()) Row(Printable(property.name), ValueAsText(property));
  }

  void Print(Output& output) const {
    std::size_t width = 0;
    for (const Line& line : m_rows) width = std::max(width, line.isHeading ? 0 : line.name.size());
    for (const Line& line : m_rows) {
      if (line.isHeading) {
        output.Print("{}{}\n", &line == &m_rows.front() ? "" : "\n", line.name);
      } else {
        output.Print("{:{}}  {}\n", line.name, width, line.value);
      }
    }
  }

 private:
  struct Line {
    std::string name;
    std::string value;
    bool isHeading;
  };
  std::vector<Line> m_rows;
};

void PrintAsText(const host::Session& session, Output& output) {
  const host::PluginInfo info = session.Describe();
  Table table;
  table.Heading("Plug-in");
  table.Row("Description", info.description);
  table.Row("Version", VersionText(info));
  table.Row("Copyright", info.copyright);
  table.Row("More information", info.moreInfo);
  table.Row("MIME types", fmt::to_string(fmt::join(info.mimeTypes, ", ")));
  table.Row("Extensions", fmt::to_string(fmt::join(info.extensions, ", ")));
  table.Row("Open names", fmt::to_string(fmt::join(info.openNames, ", ")));
  table.Row("Packet formats", fmt::to_string(fmt::join(info.packetFormats, ", ")));
  table.Heading("File header");
  table.List(session.FileHeader());
  for (std::size_t stream = 0; stream < session.StreamHeaders().size(); ++stream) {
    const host::StreamHeader& header = session.StreamHeaders()[stream];
    table.Heading(fmt::format("Stream {}", stream));
    if (header.properties) {
      table.List(*header.properties);
    } else {
      table.Row("No header", host::StatusText(header.status));
    }
  }
  table.Print(output);
}

}  // namespace

InfoCommand::InfoCommand(CLI::App& app)
    : FileCommand(app, "info", "Show the plug-in's description, the file header and each stream's header.",
                  "qbflv info --json film.flv") {
  AddRepairOption(Parser(), MutableOptions(), false);
  Parser().add_flag("--json", m_json, "Print one JSON object");
}

int InfoCommand::Run() {
  Progress progress(true);
  host::Session session(SessionOptions(progress));
  session.ReadHeaders();
  progress.Clear();
  Output output;
  if (m_json) {
    // Texts in a file may be invalid UTF-8, which JSON does not allow.
    output.Print("{}\n", SessionAsJson(session).dump(2, ' ', false, Json::error_handler_t::replace));
  } else {
    PrintAsText(session, output);
  }
  output.Flush();
  return kSuccess;
}

}  // namespace qbflv::cli
