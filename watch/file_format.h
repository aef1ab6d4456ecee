// The wrapper of the file-format object, for the host.
#pragma once

#include <memory>

#include "watch/exposed_object.h"

namespace qbflv::watch {

class WatchedFileFormat final : public ExposedObject,
                                public IQBPlugin,
                                public IQBFileFormatObject,
                                public IQBInterruptSafe,
                                public IQBPacketFormat,
                                public IQBFileResponse,
                                public IQBFileStatResponse {
 public:
  WatchedFileFormat(Layer& layer, std::shared_ptr<Session> session, ComPtr<IQBPlugin> real);

  Status QueryInterface(const GUID& id, void** object) override;
  std::uint32_t AddRef() override { return AddReference(Source::kAddRef); }
  std::uint32_t Release() override { return ReleaseReference(); }

  Status GetPluginInfo(std::uint32_t* flag, const char** description, const char** copyright, const char** moreInfo,
                       std::uint32_t* version) override;
  Status InitPlugin(IUnknown* context) override;

  Status GetFileFormatInfo(const char* const** mimeTypes, const char* const** extensions,
                           const char* const** openNames) override;
  Status InitFileFormat(IQBRequest* request, IQBFormatSink* sink, IQBSourceFile* file) override;
  Status GetFileHeader() override;
  Status GetStreamHeader(std::uint16_t stream) override;
  Status GetPacket(std::uint16_t stream) override;
  Status Seek(std::uint32_t time) override;
  Status Close() override;

  BOOL IsInterruptSafe() override;
  Status GetSupportedPacketFormats(const char* const** formats) override;
  Status SetPacketFormat(const char* format) override;

  // Completions that the host calls on the object itself instead of on the response object.
  Status InitDone(Status status) override;
  Status CloseDone(Status status) override;
  Status ReadDone(Status status, IQBBuffer* buffer) override;
  Status WriteDone(Status status) override;
  Status SeekDone(Status status) override;
  Status StatDone(Status status, std::uint32_t size) override;

 protected:
  void ReleaseReal() override;
  void Forget() override { static_cast<void>(m_real.Detach()); }

 private:
  void ReportWrongObject(const char* call);

  Layer& m_layer;
  ComPtr<IQBPlugin> m_real;
  bool m_hasContext = false;
  // Other interfaces of the object that m_real references.
  IQBFileFormatObject* m_format;
  IQBInterruptSafe* m_interruptSafe;
  IQBPacketFormat* m_packetFormat;
  IQBFileResponse* m_response;
  IQBFileStatResponse* m_statResponse;
};

}  // namespace qbflv::watch
