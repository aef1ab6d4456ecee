// Makes the packets after a seek playable: adds codec configurations, and drops what comes before a key frame.
#pragma once

#include <cstdint>
#include <functional>
#include <memory>
#include <vector>

#include "flv/file_facts.h"
#include "flv/view_layout.h"
#include "plugin/shell/host_interfaces.h"
#include "plugin/util/com_ptr.h"

namespace qbflv::host {

/// Knows the file that is played, and passes on what is delivered. A decoder has seen nothing of what precedes a
/// restart position, and the codec configurations usually stand at the start of the file.
class RestartFilter {
 public:
  /// layout: of the repaired view, if it is played; null for the bare file. types: the tag type of each stream.
  RestartFilter(std::shared_ptr<const flv::FileFacts> facts, std::shared_ptr<const flv::ViewLayout> layout,
                const std::vector<flv::TagType>& types);

  /// Call after each seek. offset: where delivery restarts, in the bytes that the plug-in reads.
  void Restart(std::uint64_t offset);

  /// Calls send with the packets to send in the place of this one: none, or itself, with the codec configurations in
  /// front of the first. Without a Restart before, that is always the packet alone.
  void Take(IQBPacket& packet, const std::function<void(IQBPacket& packet)>& send);

 private:
  struct Stream {
    flv::TagType type;
    bool awaitsKeyFrame = false;
    /// To send before the next packet; null for none. Belongs to the facts.
    const std::vector<std::uint8_t>* configuration = nullptr;
  };

  void SendConfigurations(std::uint32_t time, const std::function<void(IQBPacket& packet)>& send);

  const std::shared_ptr<const flv::FileFacts> m_facts;
  const std::shared_ptr<const flv::ViewLayout> m_layout;
  std::vector<Stream> m_streams;
  bool m_hasConfigurations = false;
};

}  // namespace qbflv::host
