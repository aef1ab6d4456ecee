// Makes the host's objects for the plug-in.
#include "host/object_factory.h"

#include "host/buffer.h"
#include "host/packet.h"
#include "host/property_list.h"
#include "host/rtp_packet.h"

namespace qbflv::host {

Status ObjectFactory::CreateInstance(const GUID& classId, void** object) {
  if (object == nullptr) return kInvalidArgument;
  *object = nullptr;
  return WithoutThrowing([&] {
    if (classId == IQBBuffer::kId) return MakeObject<Buffer>()->QueryInterface(classId, object);
    if (classId == IQBPacket::kId) return MakeObject<Packet>()->QueryInterface(classId, object);
    if (classId == IQBRTPPacket::kId) return MakeObject<RtpPacket>()->QueryInterface(classId, object);
    if (classId == IQBPropertyList::kId) return MakeObject<PropertyList>()->QueryInterface(classId, object);
    return kNoInterface;
  });
}

}  // namespace qbflv::host
