#include "plugin/shell/plus_file_format.h"

#include <new>
#include <utility>

#include "plugin/payload/rtmp_payload.h"
#include "plugin/shell/descriptors.h"
#include "plugin/util/interface_table.h"

namespace qbflv {

namespace {

template <typename Value>
void Store(Value* out, Value value) {
  if (out != nullptr) *out = value;
}

}  // namespace

Status CQBFLVPlusFileFormat::QueryInterface(const GUID& id, void** object) {
  const InterfaceEntry packetFormat[] = {EntryFor<IQBPacketFormat>(this)};
  if (Succeeded(FindInterface(packetFormat, id, object))) return kOk;
  return CQBFLVFileFormat::QueryInterface(id, object);
}

Status CQBFLVPlusFileFormat::GetPluginInfo(std::uint32_t* flag, const char** description, const char** copyright,
                                           const char** moreInfo, std::uint32_t* version) {
  Store(flag, kPluginFlag);
  Store(description, kDescription);
  Store(copyright, kCopyright);
  Store(moreInfo, kMoreInfo);
  Store(version, kVersion);
  return kOk;
}

Status CQBFLVPlusFileFormat::GetFileFormatInfo(const char* const** mimeTypes, const char* const** extensions,
                                               const char* const** openNames) {
  Store(mimeTypes, kMimeTypes);
  Store(extensions, kExtensions);
  Store(openNames, kOpenNames);
  return kOk;
}

Status CQBFLVPlusFileFormat::GetSupportedPacketFormats(const char* const** formats) {
  Store(formats, kPacketFormats);
  return kOk;
}

Status CQBFLVPlusFileFormat::SetPacketFormat(const char* /*format*/) { return kOk; }

Status CQBFLVPlusFileFormat::CreatePayload(IQBPropertyList* /*headers*/, IQBPropertyList* /*urlOptions*/) {
  auto payload = ComPtr<CFLVPayload>::Retain(new (std::nothrow) CRTMPPayload(GetContext(), AsPayloadOwner()));
  if (!payload) return kOutOfMemory;
  SetPayload(std::move(payload));
  return kOk;
}

}  // namespace qbflv
