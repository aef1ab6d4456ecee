// Creates the host's objects for the plug-in.
#include "host/object_factory.h"

#include "host/buffer.h"
#include "host/packet.h"
#include "host/property_list.h"
#include "host/rtp_packet.h"

namespace qbflv::host {

namespace {

/// Transfers the object's only reference to the caller, as the requested interface.
template <typename Interface, typename Object>
Status Transfer(ComPtr<Object> created, void** object) {
  Interface* const interface = created.Detach();
  *object = interface;
  return kOk;
}

}  // namespace

Status ObjectFactory::CreateInstance(const GUID& classId, void** object) {
  if (object == nullptr) return kInvalidArgument;
  *object = nullptr;
  return WithoutThrowing([&] {
    // The most frequent class first.
    if (classId == IQBPacket::kId) return Transfer<IQBPacket>(MakeObject<Packet>(), object);
    if (classId == IQBBuffer::kId) return Transfer<IQBBuffer>(MakeObject<Buffer>(), object);
    if (classId == IQBPropertyList::kId) return Transfer<IQBPropertyList>(MakeObject<PropertyList>(), object);
    if (classId == IQBRTPPacket::kId) return Transfer<IQBRTPPacket>(MakeObject<RtpPacket>(), object);
    return kNoInterface;
  });
}

}  // namespace qbflv::host
