// The wrapper of the host's sink, for the plug-in.
#include "watch/sink.h"

#include "watch/data_objects.h"

namespace qbflv::watch {

namespace {

/// Returns the host's list inside a list that the plug-in passes. The plug-in has only WatchedLists.
IQBPropertyList* RealList(IQBPropertyList* list) {
  return list != nullptr ? static_cast<WatchedList*>(list)->Real() : nullptr;
}

}  // namespace

/// The call may release the last reference to this object; do not touch members after it.
template <typename Pass>
Status WatchedSink::CallSink(const char* call, std::uint32_t argument, Pass pass) {
  const std::shared_ptr<Session> session = m_session;
  const ComPtr<IQBFormatSink> real = m_real;
  const HostCall frame(*session, call, argument);
  const Status status = pass(*real);
  session->CheckStatus(call, status);
  return status;
}

Status WatchedSink::InitDone(Status status) {
  return CallSink("IQBFormatSink::InitDone", static_cast<std::uint32_t>(status),
                  [status](IQBFormatSink& real) { return real.InitDone(status); });
}

Status WatchedSink::SeekDone(Status status) {
  return CallSink("IQBFormatSink::SeekDone", static_cast<std::uint32_t>(status),
                  [status](IQBFormatSink& real) { return real.SeekDone(status); });
}

Status WatchedSink::FileHeaderReady(Status status, IQBPropertyList* header) {
  if (header != nullptr) m_session->SetStreamCount(static_cast<WatchedList*>(header)->StreamCount());
  return CallSink("IQBFormatSink::FileHeaderReady", static_cast<std::uint32_t>(status),
                  [status, header](IQBFormatSink& real) { return real.FileHeaderReady(status, RealList(header)); });
}

Status WatchedSink::StreamHeaderReady(Status status, IQBPropertyList* header) {
  return CallSink("IQBFormatSink::StreamHeaderReady", static_cast<std::uint32_t>(status),
                  [status, header](IQBFormatSink& real) { return real.StreamHeaderReady(status, RealList(header)); });
}

Status WatchedSink::PacketReady(Status status, IQBPacket* packet) {
  static constexpr char kCall[] = "IQBFormatSink::PacketReady";
  auto* const watched = static_cast<WatchedPacket*>(packet);
  const std::shared_ptr<Session> session = m_session;
  IQBPacket* const real = watched->Real();  // the plug-in keeps a reference until this function returns
  watched->CheckUnchanged();
  session->OnDelivered(watched->Stream(), false);
  const std::uint32_t before = OtherReferences(*real);
  const Status result = CallSink(kCall, watched->Stream(),
                                 [status, real](IQBFormatSink& sink) { return sink.PacketReady(status, real); });
  if (OtherReferences(*real) > before) session->WatchKept(ComPtr<IQBPacket>::Retain(real));
  return result;
}

Status WatchedSink::StreamDone(std::uint16_t stream) {
  m_session->OnDelivered(stream, true);
  return CallSink("IQBFormatSink::StreamDone", stream,
                  [stream](IQBFormatSink& real) { return real.StreamDone(stream); });
}

}  // namespace qbflv::watch
