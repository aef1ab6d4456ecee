// One log of what the plug-in does to its host: file operations and sink calls, each a line, in the order they come.
#include "tests/support/call_log.h"

#include <fmt/format.h>

#include <algorithm>

#include "host/buffer.h"
#include "host/property_list.h"

namespace qbflv::test {

namespace {

std::string ValueOf(const host::Property& property) {
  if (property.kind == host::Property::Kind::kNumber) return std::to_string(property.number);
  const std::string_view text = host::BufferText(property.buffer.Get());
  const std::uint32_t size = property.buffer ? property.buffer->GetSize() : 0;
  return fmt::format("{}'{}'/{}", property.kind == host::Property::Kind::kBytes ? "bytes " : "", text, size);
}

/// Sorted by name, so that the order in which the plug-in sets them is left to it.
std::string DescribeList(IQBPropertyList* list) {
  if (list == nullptr) return "null";
  std::vector<std::string> values;
  for (const host::Property& property : QueryFor<host::PropertyList>(list)->Properties()) {
    values.push_back(property.name + "=" + ValueOf(property));
  }
  std::sort(values.begin(), values.end());
  return fmt::format("{{{}}}", fmt::join(values, " "));
}

std::string DescribePacket(IQBPacket& packet) {
  const auto buffer = ComPtr<IQBBuffer>::Adopt(packet.GetPacketBuffer());
  return fmt::format("PacketReady s={} t={} size={} flags={} rule={}", packet.GetStreamNumber(), packet.GetTime(),
                     buffer ? buffer->GetSize() : 0, packet.GetASMFlags(), packet.GetASMRuleNumber());
}

}  // namespace

CallLog::Lines CallLog::From(std::size_t first) const {
  return {m_lines.begin() + static_cast<std::ptrdiff_t>(std::min(first, m_lines.size())), m_lines.end()};
}

CallLog::Lines CallLog::Only(const std::vector<std::string_view>& words) const {
  Lines lines;
  std::copy_if(m_lines.begin(), m_lines.end(), std::back_inserter(lines), [&](const std::string& line) {
    return std::any_of(words.begin(), words.end(), [&](std::string_view word) { return line.starts_with(word); });
  });
  return lines;
}

CallLog::Lines CallLog::Delivered() const {
  Lines lines;
  for (const std::string& line : Only({"PacketReady s=", "StreamDone s="})) {
    // "PacketReady s=0 t=23 size=…" or "StreamDone s=1"
    const std::size_t stream = line.find("s=") + 2;
    const std::size_t time = line.find("t=");
    const bool done = line.starts_with("StreamDone");
    lines.push_back("s" + line.substr(stream, 1) +
                    (done ? " done" : " t" + line.substr(time + 2, line.find(' ', time) - time - 2)));
  }
  return lines;
}

std::string CallLog::Last(std::string_view word) const {
  const Lines lines = Only({word});
  return lines.empty() ? std::string() : lines.back();
}

std::string Hex(Status status) { return fmt::format("0x{:08X}", static_cast<std::uint32_t>(status)); }

std::string Describe(const host::SinkEvent& event) {
  using Kind = host::SinkEvent::Kind;
  constexpr const char* kNames[] = {"InitDone",        "PacketReady",       "SeekDone",
                                    "FileHeaderReady", "StreamHeaderReady", "StreamDone"};
  const std::string name = kNames[static_cast<std::size_t>(event.kind)];
  if (event.kind == Kind::kStreamDone) return fmt::format("{} s={}", name, event.stream);
  if (event.kind == Kind::kPacketReady && event.status == kOk && event.packet) return DescribePacket(*event.packet);
  const bool hasList = event.kind == Kind::kFileHeaderReady || event.kind == Kind::kStreamHeaderReady;
  return name + " " + Hex(event.status) + (hasList ? " " + DescribeList(event.header.Get()) : "");
}

std::string Value(IQBPropertyList* list, std::string_view name) {
  const auto properties = QueryFor<host::PropertyList>(list);
  if (!properties) return "no list";
  const host::Property* const property = properties->Find(std::string(name).c_str());
  return property == nullptr ? "absent" : ValueOf(*property);
}

}  // namespace qbflv::test
