// The host's media packets.
#pragma once

#include <cstdint>

#include "host/com_object.h"
#include "host/pooled.h"

namespace qbflv::host {

/// The common base of packets with and without an RTP time. Interface is IQBPacket or derives from it.
template <typename Interface>
class BasicPacket : public ComObject<Interface> {
 public:
  IQBBuffer* GetPacketBuffer() override { return ComPtr<IQBBuffer>(m_buffer).Detach(); }
  std::uint32_t GetTime() override { return m_time; }
  std::uint16_t GetStreamNumber() override { return m_stream; }
  std::uint8_t GetASMFlags() override { return m_asmFlags; }
  std::uint16_t GetASMRuleNumber() override { return m_asmRule; }
  /// Returns false: packets from a file are never lost.
  BOOL IsLost() override { return 0; }

  Status Set(IQBBuffer* buffer, std::uint32_t time, std::uint16_t stream, std::uint8_t asmFlags,
             std::uint16_t asmRule) override {
    m_buffer = ComPtr<IQBBuffer>::Retain(buffer);
    m_time = time;
    m_stream = stream;
    m_asmFlags = asmFlags;
    m_asmRule = asmRule;
    return kOk;
  }

 private:
  ComPtr<IQBBuffer> m_buffer;
  std::uint32_t m_time = 0;
  std::uint16_t m_stream = 0;
  std::uint8_t m_asmFlags = 0;
  std::uint16_t m_asmRule = 0;
};

class Packet final : public BasicPacket<IQBPacket>, public Pooled<Packet> {};

}  // namespace qbflv::host
