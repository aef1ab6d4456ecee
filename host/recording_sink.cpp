// A format sink that records or forwards each call as an event.
#include "host/recording_sink.h"

#include <utility>

namespace qbflv::host {

RecordingSink::RecordingSink(Listener listener) : m_listener(std::move(listener)) {}

Status RecordingSink::InitDone(Status status) {
  return Record({SinkEvent::Kind::kInitDone, status, 0, nullptr, nullptr});
}

Status RecordingSink::PacketReady(Status status, IQBPacket* packet) {
  const std::uint16_t stream = packet == nullptr ? std::uint16_t{0} : packet->GetStreamNumber();
  return Record({SinkEvent::Kind::kPacketReady, status, stream, ComPtr<IQBPacket>::Retain(packet), nullptr});
}

Status RecordingSink::SeekDone(Status status) {
  return Record({SinkEvent::Kind::kSeekDone, status, 0, nullptr, nullptr});
}

Status RecordingSink::FileHeaderReady(Status status, IQBPropertyList* header) {
  return Record({SinkEvent::Kind::kFileHeaderReady, status, 0, nullptr, ComPtr<IQBPropertyList>::Retain(header)});
}

Status RecordingSink::StreamHeaderReady(Status status, IQBPropertyList* header) {
  return Record({SinkEvent::Kind::kStreamHeaderReady, status, 0, nullptr, ComPtr<IQBPropertyList>::Retain(header)});
}

Status RecordingSink::StreamDone(std::uint16_t stream) {
  return Record({SinkEvent::Kind::kStreamDone, kOk, stream, nullptr, nullptr});
}

Status RecordingSink::Record(SinkEvent event) {
  // The listener may make the plug-in release the last reference to this sink, which owns the listener.
  const auto self = ComPtr<RecordingSink>::Retain(this);
  return WithoutThrowing([&] {
    if (m_listener) {
      m_listener(event);
    } else {
      m_events.push_back(std::move(event));
    }
    return kOk;
  });
}

}  // namespace qbflv::host
