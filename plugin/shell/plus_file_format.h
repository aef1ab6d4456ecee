// The class that QBMCreateInstance creates: the file-format object with its descriptors and RTMP packets.
#pragma once

#include "plugin/reader/file_format.h"

namespace qbflv {

class CQBFLVPlusFileFormat final : public CQBFLVFileFormat, public IQBPacketFormat {
 public:
  Status QueryInterface(const GUID& id, void** object) override;
  std::uint32_t AddRef() override { return CQBFLVFileFormat::AddRef(); }
  std::uint32_t Release() override { return CQBFLVFileFormat::Release(); }

  // IQBPacketFormat
  Status GetSupportedPacketFormats(const char* const** formats) override;
  Status SetPacketFormat(const char* format) override;

  /// Creates a CRTMPPayload; ignores both lists.
  Status CreatePayload(IQBPropertyList* headers, IQBPropertyList* urlOptions) override;
};

}  // namespace qbflv
