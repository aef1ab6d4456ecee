// The file-format object, as the host gets it.
#pragma once

#include <memory>

#include "watch/handed_out.h"

namespace qbflv::watch {

class WatchedFileFormat final : public HandedOut,
                                public IQBPlugin,
                                public IQBFileFormatObject,
                                public IQBInterruptSafe,
                                public IQBPacketFormat,
                                public IQBFileResponse,
                                public IQBFileStatResponse {
 public:
  WatchedFileFormat(Layer& layer, std::shared_ptr<Session> session, ComPtr<IQBPlugin> real);

  Status QueryInterface(const GUID& id, void** object) override;
  std::uint32_t AddRef() override { return Take(Taken::kByAddRef); }
  std::uint32_t Release() override { return GiveBack(); }

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

  // Completions on the object itself instead of the response object that the file received.
  Status InitDone(Status status) override;
  Status CloseDone(Status status) override;
  Status ReadDone(Status status, IQBBuffer* buffer) override;
  Status WriteDone(Status status) override;
  Status SeekDone(Status status) override;
  Status StatDone(Status status, std::uint32_t size) override;

 protected:
  void End() override;
  void Forget() override { static_cast<void>(m_real.Detach()); }

 private:
  void ReportWrongObject(const char* call);

  Layer& m_layer;
  ComPtr<IQBPlugin> m_real;
  bool m_hasContext = false;
  // Other interfaces of the same object, which m_real holds.
  IQBFileFormatObject* m_format;
  IQBInterruptSafe* m_interruptSafe;
  IQBPacketFormat* m_packetFormat;
  IQBFileResponse* m_response;
  IQBFileStatResponse* m_statResponse;
};

}  // namespace qbflv::watch
