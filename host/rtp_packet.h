// The host's media packets with an additional RTP time.
#pragma once

#include <cstdint>

#include "host/packet.h"

namespace qbflv::host {

class RtpPacket final : public BasicPacket<IQBRTPPacket> {
 public:
  std::uint32_t GetRTPTime() override { return m_rtpTime; }

  Status SetRTP(IQBBuffer* buffer, std::uint32_t time, std::uint32_t rtpTime, std::uint16_t stream,
                std::uint8_t asmFlags, std::uint16_t asmRule) override {
    m_rtpTime = rtpTime;
    return Set(buffer, time, stream, asmFlags, asmRule);
  }

 protected:
  void* FindInterface(const GUID& id) override {
    if (id == IQBPacket::kId) return static_cast<IQBPacket*>(this);
    return BasicPacket::FindInterface(id);
  }

 private:
  std::uint32_t m_rtpTime = 0;
};

}  // namespace qbflv::host
