// One log of what the plug-in does to its host: file operations and sink calls, each a line, in the order they come.
#pragma once

#include <cstddef>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "host/recording_sink.h"

namespace qbflv::test {

class CallLog {
 public:
  using Lines = std::vector<std::string>;

  void Add(std::string line) {
    if (m_enabled) m_lines.push_back(std::move(line));
  }

  /// For runs so long that only their end counts.
  void Disable() { m_enabled = false; }
  bool IsEnabled() const { return m_enabled; }
  void Clear() { m_lines.clear(); }

  const Lines& All() const { return m_lines; }
  std::size_t Size() const { return m_lines.size(); }
  /// The lines from that one on.
  Lines From(std::size_t first) const;
  /// The lines that begin with one of the words.
  Lines Only(const std::vector<std::string_view>& words) const;
  std::size_t Count(std::string_view word) const { return Only({word}).size(); }
  /// The packets and the ends of streams in short form: "s0 t23" and "s1 done".
  Lines Delivered() const;
  /// The last line that begins with the word; empty when there is none.
  std::string Last(std::string_view word) const;

 private:
  bool m_enabled = true;
  Lines m_lines;
};

std::string Hex(Status status);

/// A sink call as a line, as in "PacketReady s=1 t=23 size=321 flags=3 rule=0" or "FileHeaderReady 0x00000000 {…}".
std::string Describe(const host::SinkEvent& event);

/// A property's value: a number in decimal digits, a text or a block of bytes with its size behind it, as in
/// 'rtmp'/5 for a text with its NUL; "absent" if there is none.
std::string Value(IQBPropertyList* list, std::string_view name);

}  // namespace qbflv::test
