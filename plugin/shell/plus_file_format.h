// The class that the library exports: the file-format object with its descriptors, in the RTMP packet format.
#pragma once

#include "plugin/reader/file_format.h"

namespace qbflv {

class CQBFLVPlusFileFormat final : public CQBFLVFileFormat, public IQBPacketFormat {
 public:
  Status QueryInterface(const GUID& id, void** object) override;
  std::uint32_t AddRef() override { return CQBFLVFileFormat::AddRef(); }
  std::uint32_t Release() override { return CQBFLVFileFormat::Release(); }

  // IQBPlugin
  Status GetPluginInfo(std::uint32_t* flag, const char** description, const char** copyright, const char** moreInfo,
                       std::uint32_t* version) override;

  // IQBFileFormatObject
  Status GetFileFormatInfo(const char* const** mimeTypes, const char* const** extensions,
                           const char* const** openNames) override;

  // IQBPacketFormat
  Status GetSupportedPacketFormats(const char* const** formats) override;
  Status SetPacketFormat(const char* format) override;

  /// Always a CRTMPPayload; neither list is looked at.
  Status CreatePayload(IQBPropertyList* headers, IQBPropertyList* urlOptions) override;
};

}  // namespace qbflv
