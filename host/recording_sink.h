// A format sink that records or forwards each call as an event.
#pragma once

#include <cstdint>
#include <functional>
#include <vector>

#include "host/com_object.h"

namespace qbflv::host {

/// One call of the sink. Fields that the call does not use are 0 or null.
struct SinkEvent {
  enum class Kind { kInitDone, kPacketReady, kSeekDone, kFileHeaderReady, kStreamHeaderReady, kStreamDone };

  Kind kind = Kind::kInitDone;
  Status status = kOk;
  std::uint16_t stream = 0;
  ComPtr<IQBPacket> packet;
  ComPtr<IQBPropertyList> header;
};

class RecordingSink final : public ComObject<IQBFormatSink> {
 public:
  /// Receives each event inside the sink call. Must not throw, because the plug-in is the caller. May call the plug-in.
  using Listener = std::function<void(const SinkEvent&)>;

  /// Records the events.
  RecordingSink() = default;
  /// Forwards the events to the listener instead.
  explicit RecordingSink(Listener listener);

  Status InitDone(Status status) override;
  Status PacketReady(Status status, IQBPacket* packet) override;
  Status SeekDone(Status status) override;
  Status FileHeaderReady(Status status, IQBPropertyList* header) override;
  Status StreamHeaderReady(Status status, IQBPropertyList* header) override;
  Status StreamDone(std::uint16_t stream) override;

  const std::vector<SinkEvent>& Events() const { return m_events; }

 private:
  Status Record(SinkEvent event);

  Listener m_listener;
  std::vector<SinkEvent> m_events;
};

}  // namespace qbflv::host
