// A small host that can make every mistake that the watch layer reports.
#pragma once

#include <cstdint>
#include <deque>
#include <functional>
#include <utility>
#include <vector>

#include "host/buffer.h"
#include "host/com_object.h"
#include "host/object_factory.h"
#include "host/plugin_library.h"
#include "host/recording_sink.h"
#include "host/request.h"

namespace qbflv::test {

/// Queues its operations; the host completes them, rightly or wrongly.
class BadFile final : public host::ComObject<IQBSourceFile, IQBFileStat> {
 public:
  explicit BadFile(std::vector<std::uint8_t> bytes) : m_bytes(std::move(bytes)) {}

  Status Init(std::uint32_t flags, IQBFileResponse* borrowed) override;
  Status Close() override;
  Status Read(std::uint32_t count) override;
  Status Seek(std::uint32_t offset, BOOL relative) override;
  Status SetAccessHint(std::uint32_t /*hint*/) override { return kOk; }
  Status Stat(IQBFileStatResponse* borrowed) override;

  bool IsPending() const { return !m_pending.empty(); }
  /// Completes the oldest pending operation, or the latest.
  void Complete();
  void CompleteLatest();
  void DropPending() { m_pending.clear(); }

  ComPtr<IQBFileResponse> response;
  /// The buffers of all reads.
  std::vector<ComPtr<IQBBuffer>> buffers;
  /// What Stat reports; 0 for the true size.
  std::uint32_t reportedSize = 0;

 private:
  std::vector<std::uint8_t> m_bytes;
  std::size_t m_position = 0;
  std::deque<std::function<void()>> m_pending;
};

/// Its own factory, which creates the objects of the reference host unless a row says otherwise.
class BadContext final : public host::ComObject<IQBObjectFactory> {
 public:
  using Create = std::function<bool(const GUID& classId, void** object)>;

  Status QueryInterface(const GUID& id, void** object) override;
  Status CreateInstance(const GUID& classId, void** object) override;

  std::function<void()> onQuery;
  /// Returns false to leave the creation to the reference host.
  Create create;

 private:
  ComPtr<host::ObjectFactory> m_factory = host::MakeObject<host::ObjectFactory>();
};

struct BadHost {
  BadHost();
  BadHost(const BadHost&) = delete;
  BadHost& operator=(const BadHost&) = delete;
  /// Closes and releases the object.
  ~BadHost();

  /// InitPlugin and InitFileFormat, without the completions.
  void StartOpening();
  void Pump();
  void Open();
  void ReadHeaders();
  /// Requests a packet of both streams.
  void GetPackets();
  /// Requests packets until both streams are done.
  void Play();

  host::PluginLibrary library;
  ComPtr<BadFile> file;
  ComPtr<BadContext> context = host::MakeObject<BadContext>();
  ComPtr<host::Request> request = host::MakeObject<host::Request>("film.flv");
  std::function<void(const host::SinkEvent&)> onSinkCall;
  ComPtr<host::RecordingSink> sink;
  ComPtr<IQBPlugin> plugin;
  ComPtr<IQBFileFormatObject> format;
};

}  // namespace qbflv::test
