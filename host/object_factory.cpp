// Makes the host's objects for the plug-in.
#include "host/object_factory.h"

#include "host/buffer.h"
#include "host/packet.h"
#include "host/property_list.h"
#include "host/rtp_packet.h"

namespace qbflv::host {

namespace {

/// The object's one reference, as the interface that was asked for.
template <typename Interface, typename Object>
Status HandOut(ComPtr<Object> made, void** object) {
  Interface* const interface = made.Detach();
  *object = interface;
  return kOk;
}

}  // namespace

Status ObjectFactory::CreateInstance(const GUID& classId, void** object) {
  if (object == nullptr) return kInvalidArgument;
  *object = nullptr;
  return WithoutThrowing([&] {
    // The most wanted first.
    if (classId == IQBPacket::kId) return HandOut<IQBPacket>(MakeObject<Packet>(), object);
    if (classId == IQBBuffer::kId) return HandOut<IQBBuffer>(MakeObject<Buffer>(), object);
    if (classId == IQBPropertyList::kId) return HandOut<IQBPropertyList>(MakeObject<PropertyList>(), object);
    if (classId == IQBRTPPacket::kId) return HandOut<IQBRTPPacket>(MakeObject<RtpPacket>(), object);
    return kNoInterface;
  });
}

}  // namespace qbflv::host
