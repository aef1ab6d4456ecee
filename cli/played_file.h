// What is known of the file that a session plays, repaired or bare.
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
  /// Takes what the view knows, or reads through the bare file. Throws HostError.
  explicit PlayedFile(const host::SessionOptions& options);

  const flv::FileFacts& Facts() const { return *m_facts; }
  bool IsRepaired() const { return m_layout != nullptr; }
  /// The packets' timestamp at position 0 of a seek.
  std::uint32_t TimeBase() const { return m_layout ? m_layout->TimeBase() : m_facts->TimeBase(); }
  /// The playable tags that the plug-in can reach: without those beyond its 32-bit offsets.
  std::uint32_t ReachableTags() const { return m_layout ? m_layout->TagCount() : m_facts->TagCount(); }

  /// session: has its stream headers.
  host::RestartFilter MakeRestartFilter(const host::Session& session) const {
    return {m_facts, m_layout, session.StreamTypes()};
  }

 private:
  std::shared_ptr<const flv::FileFacts> m_facts;
  /// Null for the bare file.
  std::shared_ptr<const flv::ViewLayout> m_layout;
};

}  // namespace qbflv::cli
