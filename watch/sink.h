// The wrapper of the host's sink, for the plug-in.
#pragma once

#include <memory>

#include "host/com_object.h"
#include "watch/session.h"

namespace qbflv::watch {

class WatchedSink final : public host::ComObject<IQBFormatSink> {
 public:
  WatchedSink(std::shared_ptr<Session> session, ComPtr<IQBFormatSink> real)
      : m_session(std::move(session)), m_real(std::move(real)) {}

  Status InitDone(Status status) override;
  Status PacketReady(Status status, IQBPacket* packet) override;
  Status SeekDone(Status status) override;
  Status FileHeaderReady(Status status, IQBPropertyList* header) override;
  Status StreamHeaderReady(Status status, IQBPropertyList* header) override;
  Status StreamDone(std::uint16_t stream) override;

 private:
  template <typename Pass>
  Status CallSink(const char* call, std::uint32_t argument, Pass pass);

  std::shared_ptr<Session> m_session;
  ComPtr<IQBFormatSink> m_real;
};

}  // namespace qbflv::watch
