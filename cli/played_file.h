// The facts of the file that a session plays, repaired or bare.
#pragma once

#include <cstdint>
#include <memory>

#include "flv/file_facts.h"
#include "flv/view_layout.h"
#include "host/restart_filter.h"
#include "host/session.h"

namespace qbflv::cli {

class PlayedFile {
 public:
  /// Takes the facts from the repaired view, or scans the bare file. Throws HostError.
  explicit PlayedFile(const host::SessionOptions& options);

  const flv::FileFacts& Facts() const { return *m_facts; }
  bool IsRepaired() const { return m_layout != nullptr; }
  /// Returns the timestamp that packets have at position 0.
  std::uint32_t TimeBase() const { return m_layout ? m_layout->TimeBase() : m_facts->TimeBase(); }
  /// Returns the number of playable tags within the plug-in's 32-bit offsets.
  std::uint32_t ReachableTags() const { return m_layout ? m_layout->TagCount() : m_facts->TagCount(); }

  /// session: must have read its headers.
  host::RestartFilter MakeRestartFilter(const host::Session& session) const {
    return {m_facts, m_layout, session.StreamTypes()};
  }

 private:
  std::shared_ptr<const flv::FileFacts> m_facts;
  /// Null for the bare file.
  std::shared_ptr<const flv::ViewLayout> m_layout;
};

}  // namespace qbflv::cli
