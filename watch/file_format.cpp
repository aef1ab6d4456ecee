// The wrapper of the file-format object, for the host.
#include "watch/file_format.h"

#include <fmt/format.h>

#include <array>
#include <utility>

#include "watch/data_objects.h"
#include "watch/host_objects.h"
#include "watch/layer.h"
#include "watch/sink.h"
#include "watch/source_file.h"

namespace qbflv::watch {

namespace {

/// Times from here on are negative numbers that were converted to unsigned.
constexpr std::uint32_t kFirstWrappedTime = 0x80000000;

/// Returns the wrapped object, or null for null.
template <typename Watched, typename Interface>
ComPtr<Watched> Wrap(std::shared_ptr<Session> session, Interface* real) {
  if (real == nullptr) return nullptr;
  return host::MakeObject<Watched>(std::move(session), ComPtr<Interface>::Retain(real));
}

}  // namespace

WatchedFileFormat::WatchedFileFormat(Layer& layer, std::shared_ptr<Session> session, ComPtr<IQBPlugin> real)
    : ExposedObject(std::move(session), "IQBFileFormatObject", 0, 1),
      m_layer(layer),
      m_real(std::move(real)),
      m_format(m_real.Query<IQBFileFormatObject>().Get()),
      m_interruptSafe(m_real.Query<IQBInterruptSafe>().Get()),
      m_packetFormat(m_real.Query<IQBPacketFormat>().Get()),
      m_response(m_real.Query<IQBFileResponse>().Get()),
      m_statResponse(m_real.Query<IQBFileStatResponse>().Get()) {}

Status WatchedFileFormat::QueryInterface(const GUID& id, void** object) {
  if (object == nullptr) {
    GetSession()->Report(Rule::kNullArgument, "QueryInterface", "QueryInterface with null");
    return kInvalidArgument;
  }
  *object = nullptr;
  if (IsUsedAfterRelease("QueryInterface")) return kNoInterface;
  const std::pair<const GUID*, void*> table[] = {
      {&IUnknown::kId, static_cast<IQBPlugin*>(this)},
      {&IQBPlugin::kId, static_cast<IQBPlugin*>(this)},
      {&IQBFileFormatObject::kId, static_cast<IQBFileFormatObject*>(this)},
      {&IQBInterruptSafe::kId, static_cast<IQBInterruptSafe*>(this)},
      {&IQBPacketFormat::kId, static_cast<IQBPacketFormat*>(this)},
      {&IQBFileResponse::kId, static_cast<IQBFileResponse*>(this)},
      {&IQBFileStatResponse::kId, static_cast<IQBFileStatResponse*>(this)},
  };
  for (const auto& [entryId, entry] : table) {
    if (*entryId == id) *object = entry;
  }
  // The host gets interfaces that the layer does not know directly from the plug-in.
  if (*object == nullptr) return m_real->QueryInterface(id, object);
  AddReference(Source::kQueryInterface);
  return kOk;
}

/// The plug-in releases objects of the host, whose destructors may call this object.
void WatchedFileFormat::ReleaseReal() {
  static constexpr char kCall[] = "IQBFileFormatObject::Release";
  const std::shared_ptr<Session> session = GetSession();
  const PluginCall frame(session, kCall);
  if (frame.IsTracked()) session->CheckNeverCompleted(kCall);
  session->CheckKept(kCall);
  session->Restart();
  // m_real stays readable for nested calls until it is released.
  static_cast<void>(ComPtr<IQBPlugin>::Adopt(m_real.Get()));
  static_cast<void>(m_real.Detach());
  m_layer.AddTotals(session->TakeTotals());
}

Status WatchedFileFormat::GetPluginInfo(std::uint32_t* flag, const char** description, const char** copyright,
                                        const char** moreInfo, std::uint32_t* version) {
  static constexpr char kCall[] = "IQBPlugin::GetPluginInfo";
  if (IsUsedAfterRelease(kCall)) return kInvalidState;
  const PluginCall frame(GetSession(), kCall);
  return m_real->GetPluginInfo(flag, description, copyright, moreInfo, version);
}

Status WatchedFileFormat::InitPlugin(IUnknown* context) {
  static constexpr char kCall[] = "IQBPlugin::InitPlugin";
  if (IsUsedAfterRelease(kCall)) return kInvalidState;
  const PluginCall frame(GetSession(), kCall);
  if (context == nullptr) GetSession()->Report(Rule::kNullArgument, kCall, "IQBPlugin::InitPlugin with null");
  if (context != nullptr && frame.IsTracked()) GetSession()->Restart();
  const auto watched = Wrap<WatchedContext>(GetSession(), context);
  if (context != nullptr) m_hasContext = true;
  return m_real->InitPlugin(watched.Get());
}

Status WatchedFileFormat::GetFileFormatInfo(const char* const** mimeTypes, const char* const** extensions,
                                            const char* const** openNames) {
  static constexpr char kCall[] = "IQBFileFormatObject::GetFileFormatInfo";
  if (IsUsedAfterRelease(kCall)) return kInvalidState;
  const PluginCall frame(GetSession(), kCall);
  return m_format->GetFileFormatInfo(mimeTypes, extensions, openNames);
}

Status WatchedFileFormat::InitFileFormat(IQBRequest* request, IQBFormatSink* sink, IQBSourceFile* file) {
  static constexpr char kCall[] = "IQBFileFormatObject::InitFileFormat";
  if (IsUsedAfterRelease(kCall)) return kInvalidState;
  const PluginCall frame(GetSession(), kCall);
  Session& session = frame.GetSession();
  const bool complete = request != nullptr && sink != nullptr && file != nullptr;
  if (!complete) session.Report(Rule::kNullArgument, kCall, fmt::format("{} with null", kCall));
  if (!frame.IsTracked()) return m_format->InitFileFormat(request, sink, file);
  if (complete && m_hasContext) session.Restart();
  session.SetStreamCount(0);
  const std::uint32_t epoch = session.Epoch();
  const auto watchedRequest = Wrap<WatchedRequest>(GetSession(), request);
  const auto watchedSink = Wrap<WatchedSink>(GetSession(), sink);
  ComPtr<WatchedFile> watchedFile;
  if (file != nullptr) {
    watchedFile = host::MakeObject<WatchedFile>(m_layer, GetSession(), ComPtr<IQBSourceFile>::Retain(file));
  }
  const Status status = m_format->InitFileFormat(watchedRequest.Get(), watchedSink.Get(), watchedFile.Get());
  // The plug-in also returns this status for a request object that fails, which is reported where it fails.
  session.OnRequest(kCall, m_hasContext ? kOk : status, epoch);
  return status;
}

Status WatchedFileFormat::GetFileHeader() {
  static constexpr char kCall[] = "IQBFileFormatObject::GetFileHeader";
  if (IsUsedAfterRelease(kCall)) return kInvalidState;
  const PluginCall frame(GetSession(), kCall);
  if (!frame.IsTracked()) return m_format->GetFileHeader();
  Session& session = frame.GetSession();
  const std::uint32_t epoch = session.Epoch();
  const Status status = m_format->GetFileHeader();
  session.OnRequest(kCall, status, epoch);
  return status;
}

Status WatchedFileFormat::GetStreamHeader(std::uint16_t stream) {
  static constexpr char kCall[] = "IQBFileFormatObject::GetStreamHeader";
  if (IsUsedAfterRelease(kCall)) return kInvalidState;
  const PluginCall frame(GetSession(), kCall, stream);
  if (!frame.IsTracked()) return m_format->GetStreamHeader(stream);
  Session& session = frame.GetSession();
  const std::uint32_t epoch = session.Epoch();
  const bool exists = session.CheckStream(kCall, stream);
  const Status status = m_format->GetStreamHeader(stream);
  if (exists) session.OnRequest(kCall, status, epoch);
  return status;
}

Status WatchedFileFormat::GetPacket(std::uint16_t stream) {
  static constexpr char kCall[] = "IQBFileFormatObject::GetPacket";
  if (IsUsedAfterRelease(kCall)) return kInvalidState;
  const PluginCall frame(GetSession(), kCall, stream);
  if (!frame.IsTracked()) return m_format->GetPacket(stream);
  Session& session = frame.GetSession();
  const std::uint32_t epoch = session.Epoch();
  // The plug-in may deliver the packet inside the call.
  const Session::PacketRequest request = session.BeginPacket(stream);
  const Status status = m_format->GetPacket(stream);
  if (request == Session::PacketRequest::kWrong) return status;
  if (Failed(status) && epoch == session.Epoch()) session.CancelPacket(stream);
  session.OnRequest(kCall, status, epoch);
  return status;
}

Status WatchedFileFormat::Seek(std::uint32_t time) {
  static constexpr char kCall[] = "IQBFileFormatObject::Seek";
  if (IsUsedAfterRelease(kCall)) return kInvalidState;
  const PluginCall frame(GetSession(), kCall, time);
  if (!frame.IsTracked()) return m_format->Seek(time);
  Session& session = frame.GetSession();
  if (time >= kFirstWrappedTime) {
    session.Report(Rule::kTimeWraps, kCall, fmt::format("{}({}) with a time of 2^31 ms or more", kCall, time));
  }
  session.Restart();
  const std::uint32_t epoch = session.Epoch();
  const Status status = m_format->Seek(time);
  session.OnRequest(kCall, status, epoch);
  return status;
}

Status WatchedFileFormat::Close() {
  static constexpr char kCall[] = "IQBFileFormatObject::Close";
  if (IsUsedAfterRelease(kCall)) return kInvalidState;
  const PluginCall frame(GetSession(), kCall);
  if (frame.IsTracked()) {
    GetSession()->CheckNeverCompleted(kCall);
    GetSession()->Restart();
  }
  m_hasContext = false;
  return m_format->Close();
}

BOOL WatchedFileFormat::IsInterruptSafe() {
  return IsUsedAfterRelease("IsInterruptSafe") ? 0 : m_interruptSafe->IsInterruptSafe();
}

Status WatchedFileFormat::GetSupportedPacketFormats(const char* const** formats) {
  if (IsUsedAfterRelease("GetSupportedPacketFormats")) return kInvalidState;
  return m_packetFormat->GetSupportedPacketFormats(formats);
}

Status WatchedFileFormat::SetPacketFormat(const char* format) {
  if (IsUsedAfterRelease("SetPacketFormat")) return kInvalidState;
  return m_packetFormat->SetPacketFormat(format);
}

void WatchedFileFormat::ReportWrongObject(const char* call) {
  GetSession()->Report(Rule::kWrongObject, call, fmt::format("{} on the file-format object itself", call));
}

Status WatchedFileFormat::InitDone(Status status) {
  static constexpr char kCall[] = "IQBFileResponse::InitDone";
  if (IsUsedAfterRelease(kCall)) return kInvalidState;
  ReportWrongObject(kCall);
  return m_response->InitDone(status);
}

Status WatchedFileFormat::CloseDone(Status status) {
  return IsUsedAfterRelease("CloseDone") ? kInvalidState : m_response->CloseDone(status);
}

Status WatchedFileFormat::ReadDone(Status status, IQBBuffer* buffer) {
  static constexpr char kCall[] = "IQBFileResponse::ReadDone";
  if (IsUsedAfterRelease(kCall)) return kInvalidState;
  ReportWrongObject(kCall);
  ComPtr<WatchedBuffer> watched;
  if (buffer != nullptr) watched = host::MakeObject<WatchedBuffer>(*GetSession(), ComPtr<IQBBuffer>::Retain(buffer));
  return m_response->ReadDone(status, watched.Get());
}

Status WatchedFileFormat::WriteDone(Status status) {
  return IsUsedAfterRelease("WriteDone") ? kInvalidState : m_response->WriteDone(status);
}

Status WatchedFileFormat::SeekDone(Status status) {
  static constexpr char kCall[] = "IQBFileResponse::SeekDone";
  if (IsUsedAfterRelease(kCall)) return kInvalidState;
  ReportWrongObject(kCall);
  return m_response->SeekDone(status);
}

Status WatchedFileFormat::StatDone(Status status, std::uint32_t size) {
  static constexpr char kCall[] = "IQBFileStatResponse::StatDone";
  if (IsUsedAfterRelease(kCall)) return kInvalidState;
  ReportWrongObject(kCall);
  return m_statResponse->StatDone(status, size);
}

}  // namespace qbflv::watch
