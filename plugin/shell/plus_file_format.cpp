#include "plugin/shell/plus_file_format.h"

#include <new>
#include <utility>

#include "plugin/payload/rtmp_payload.h"
#include "plugin/reader/descriptors.h"
#include "plugin/reader/turn.h"
#include "plugin/util/interface_table.h"

namespace qbflv {

Status CQBFLVPlusFileFormat::QueryInterface(const GUID& id, void** object) {
  const InterfaceEntry packetFormat[] = {EntryFor<IQBPacketFormat>(this)};
  if (Succeeded(FindInterface(packetFormat, id, object))) return kOk;
  return CQBFLVFileFormat::QueryInterface(id, object);
}

Status CQBFLVPlusFileFormat::GetSupportedPacketFormats(const char* const** formats) {
  if (formats != nullptr) *formats = kPacketFormats;
  return kOk;
}

Status CQBFLVPlusFileFormat::SetPacketFormat(const char* /*format*/) { return kOk; }

Status CQBFLVPlusFileFormat::CreatePayload(IQBPropertyList* /*headers*/, IQBPropertyList* /*urlOptions*/) {
  const Step step(*this);
  auto payload = ComPtr<CFLVPayload>::Retain(new (std::nothrow) CRTMPPayload(GetContext(), AsPayloadOwner()));
  if (!payload) return kOutOfMemory;
  if (step.IsAbandoned()) return kInvalidState;  // the host started on another file while it made the factory
  SetPayload(std::move(payload));
  return kOk;
}

}  // namespace qbflv
