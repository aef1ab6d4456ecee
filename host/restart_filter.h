// Makes the packets after a seek playable: inserts codec configurations, and drops frames before the first key frame.
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

/// Filters the delivered packets. After a seek, a decoder needs the codec configurations, which are usually at the
/// start of the file, and then a key frame.
class RestartFilter {
 public:
  /// layout: the layout of the repaired view, or null for the bare file. types: the tag type of each stream.
  RestartFilter(std::shared_ptr<const flv::FileFacts> facts, std::shared_ptr<const flv::ViewLayout> layout,
                const std::vector<flv::TagType>& types);

  /// Call it after each seek. offset: the position at which delivery restarts, in the bytes that the plug-in reads.
  void Restart(std::uint64_t offset);

  /// Calls send with the packets that replace this one: none, or the packet itself. The codec configurations precede
  /// the first packet after Restart. Before any Restart, sends each packet unchanged.
  void Process(IQBPacket& packet, const std::function<void(IQBPacket& packet)>& send);

 private:
  struct Stream {
    flv::TagType type;
    bool awaitsKeyFrame = false;
    /// The codec configuration to send before the next packet, or null. Owned by m_facts.
    const std::vector<std::uint8_t>* configuration = nullptr;
  };

  void SendConfigurations(std::uint32_t time, const std::function<void(IQBPacket& packet)>& send);

  const std::shared_ptr<const flv::FileFacts> m_facts;
  const std::shared_ptr<const flv::ViewLayout> m_layout;
  std::vector<Stream> m_streams;
  bool m_hasConfigurations = false;
};

}  // namespace qbflv::host
