// Wrappers of the host's buffers, packets and property lists, for the plug-in. They pass every call on, and check that
// the objects return what was stored.
#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "host/com_object.h"
#include "watch/session.h"

namespace qbflv::watch {

class WatchedBuffer final : public host::ComObject<IQBBuffer> {
 public:
  /// session: must outlive this; the layer keeps sessions.
  WatchedBuffer(Session& session, ComPtr<IQBBuffer> real) : m_session(session), m_real(std::move(real)) {}
  ~WatchedBuffer() override { CheckUnchanged(); }

  Status Set(const std::uint8_t* bytes, std::uint32_t length) override;
  Status SetSize(std::uint32_t size) override;
  std::uint32_t GetSize() override;
  std::uint8_t* GetBuffer() override;

  IQBBuffer* Real() const { return m_real.Get(); }

  /// Requires that the host leaves the bytes and the size unchanged, until CheckUnchanged or until the plug-in itself
  /// changes them.
  void RequireUnchanged();
  /// Reports a change since RequireUnchanged, and ends that requirement.
  void CheckUnchanged();

 private:
  /// The size, and the first and last eight bytes. Comparing all bytes would cost too much.
  struct Sample {
    std::uint32_t size = 0;
    std::uint64_t first = 0;
    std::uint64_t last = 0;
    bool operator==(const Sample&) const = default;
  };

  Sample TakeSample();

  Session& m_session;
  ComPtr<IQBBuffer> m_real;
  bool m_isWatched = false;
  Sample m_sample;
};

/// Returns the host's buffer inside a buffer that the plug-in passes. The plug-in has only WatchedBuffers.
IQBBuffer* RealBuffer(IQBBuffer* buffer);

class WatchedPacket final : public host::ComObject<IQBPacket> {
 public:
  WatchedPacket(Session& session, ComPtr<IQBPacket> real);
  ~WatchedPacket() override { m_session.OnPacketReleased(); }

  IQBBuffer* GetPacketBuffer() override;
  std::uint32_t GetTime() override { return m_real->GetTime(); }
  std::uint16_t GetStreamNumber() override { return m_real->GetStreamNumber(); }
  std::uint8_t GetASMFlags() override { return m_real->GetASMFlags(); }
  std::uint16_t GetASMRuleNumber() override { return m_real->GetASMRuleNumber(); }
  BOOL IsLost() override { return m_real->IsLost(); }
  Status Set(IQBBuffer* buffer, std::uint32_t time, std::uint16_t stream, std::uint8_t asmFlags,
             std::uint16_t asmRule) override;

  IQBPacket* Real() const { return m_real.Get(); }
  std::uint16_t Stream() const { return m_stream; }
  /// Reports a packet that does not return what Set stored. Call it before the sink gets the packet; the host may
  /// change it afterwards.
  void CheckUnchanged();

 private:
  Session& m_session;
  ComPtr<IQBPacket> m_real;
  ComPtr<WatchedBuffer> m_buffer;
  std::uint32_t m_time = 0;
  std::uint16_t m_stream = 0;
};

class WatchedList final : public host::ComObject<IQBPropertyList> {
 public:
  WatchedList(Session& session, ComPtr<IQBPropertyList> real) : m_session(session), m_real(std::move(real)) {}
  ~WatchedList() override;

  Status SetULONG32(const char* name, std::uint32_t value) override;
  Status GetULONG32(const char* name, std::uint32_t* value) override;
  Status SetBuffer(const char* name, IQBBuffer* value) override;
  Status GetBuffer(const char* name, IQBBuffer** value) override;
  Status SetCString(const char* name, IQBBuffer* value) override;
  Status GetCString(const char* name, IQBBuffer** value) override;

  IQBPropertyList* Real() const { return m_real.Get(); }
  /// Returns the property "StreamCount", or 0 before the plug-in has set it.
  std::uint32_t StreamCount() const { return m_streamCount; }

 private:
  /// A number that the plug-in has read.
  struct ReadNumber {
    std::string name;
    Status status;
    std::uint32_t number;
  };

  Session& m_session;
  ComPtr<IQBPropertyList> m_real;
  std::uint32_t m_streamCount = 0;
  std::vector<ReadNumber> m_numbers;
};

/// Wraps a buffer that a call into the host returned, and stores it in `buffer` for the plug-in. Returns the status.
Status WrapReturned(Session& session, const char* call, Status status, IQBBuffer* real, IQBBuffer** buffer);

}  // namespace qbflv::watch
