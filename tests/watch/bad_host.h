// A small host that can make every mistake that the watch layer reports.
#pragma once

#include <algorithm>
#include <cstdint>
#include <deque>
#include <functional>
#include <string>
#include <utility>
#include <vector>

#include "host/buffer.h"
#include "host/com_object.h"
#include "host/object_factory.h"
#include "host/plugin_library.h"
#include "host/recording_sink.h"
#include "host/request.h"
#include "tests/support/temporary_folder.h"

namespace qbflv::test {

/// Queues its operations; the host completes them, rightly or wrongly.
class BadFile final : public host::ComObject<IQBSourceFile, IQBFileStat> {
 public:
  Status Init(std::uint32_t /*flags*/, IQBFileResponse* borrowed) override {
    response = ComPtr<IQBFileResponse>::Retain(borrowed);
    return Queue([to = response] { to->InitDone(kOk); });
  }

  Status Close() override {
    DropPending();
    return kOk;
  }

  Status Read(std::uint32_t count) override {
    const std::string bytes = m_bytes.substr(std::min(m_position, m_bytes.size()), count);
    m_position += bytes.size();
    buffers.push_back(host::MakeObject<host::Buffer>());
    static_cast<void>(buffers.back()->Set(reinterpret_cast<const std::uint8_t*>(bytes.data()),
                                          static_cast<std::uint32_t>(bytes.size())));
    return Queue([to = response, buffer = buffers.back()] { to->ReadDone(kOk, buffer.Get()); });
  }

  Status Seek(std::uint32_t offset, BOOL /*relative*/) override {
    m_position = offset;
    return Queue([to = response] { to->SeekDone(kOk); });
  }

  Status SetAccessHint(std::uint32_t /*hint*/) override { return kOk; }

  Status Stat(IQBFileStatResponse* borrowed) override {
    return Queue(
        [to = ComPtr<IQBFileStatResponse>::Retain(borrowed), size = reportedSize] { to->StatDone(kOk, size); });
  }

  bool IsPending() const { return !m_pending.empty(); }

  /// Completes the oldest pending operation.
  void Complete() {
    const auto completion = std::move(m_pending.front());
    m_pending.pop_front();
    completion();
  }

  void CompleteLatest() {
    std::rotate(m_pending.begin(), m_pending.end() - 1, m_pending.end());
    Complete();
  }

  void DropPending() { m_pending.clear(); }

 private:
  Status Queue(std::function<void()> completion) {
    m_pending.push_back(std::move(completion));
    return kOk;
  }

  const std::string m_bytes = ReadBytes(QBFLV_SAMPLE);
  std::size_t m_position = 0;
  std::deque<std::function<void()>> m_pending;

 public:
  ComPtr<IQBFileResponse> response;
  /// The buffers of all reads.
  std::vector<ComPtr<host::Buffer>> buffers;
  /// What Stat reports.
  std::uint32_t reportedSize = static_cast<std::uint32_t>(m_bytes.size());
};

/// Its own factory, which creates the objects of the reference host unless a row says otherwise.
class BadContext final : public host::ComObject<IQBObjectFactory> {
 public:
  Status QueryInterface(const GUID& id, void** object) override {
    if (onQuery) onQuery();
    return ComObject::QueryInterface(id, object);
  }

  Status CreateInstance(const GUID& classId, void** object) override {
    if (!create || !(classId == replaced)) return m_factory->CreateInstance(classId, object);
    *object = create();
    return kOk;
  }

  std::function<void()> onQuery;
  /// The class whose instances this creates instead.
  GUID replaced{};
  std::function<IUnknown*()> create;

 private:
  ComPtr<host::ObjectFactory> m_factory = host::MakeObject<host::ObjectFactory>();
};

struct BadHost {
  BadHost() = default;
  BadHost(const BadHost&) = delete;
  BadHost& operator=(const BadHost&) = delete;
  /// Closes and releases the object.
  ~BadHost() {
    if (format) format->Close();
    file->response = nullptr;
  }

  /// InitPlugin and InitFileFormat, without the completions.
  void StartOpening() {
    plugin->InitPlugin(context.Get());
    format->InitFileFormat(request.Get(), sink.Get(), file.Get());
  }

  void Pump() {
    while (file->IsPending()) file->Complete();
  }

  void Open() {
    StartOpening();
    Pump();
  }

  void ReadHeaders() {
    Open();
    GetFileHeader();
    Pump();
    format->GetStreamHeader(0);
    format->GetStreamHeader(1);
  }

  void GetFileHeader() { format->GetFileHeader(); }
  void Close() { format->Close(); }

  /// Completes a seek, whether one is pending or not.
  void CompleteSeek() { file->response->SeekDone(kOk); }

  /// Requests a packet of both streams.
  void GetPackets() {
    format->GetPacket(0);
    format->GetPacket(1);
  }

  /// Requests packets until both streams are done.
  void Play() {
    isPlaying = true;
    ReadHeaders();
    GetPackets();
    Pump();
  }

  host::PluginLibrary library{QBFLV_WATCH_PATH};
  ComPtr<BadFile> file = host::MakeObject<BadFile>();
  ComPtr<BadContext> context = host::MakeObject<BadContext>();
  ComPtr<host::Request> request = host::MakeObject<host::Request>("film.flv");
  bool isPlaying = false;
  std::function<void(const host::SinkEvent&)> onSinkCall = [](const host::SinkEvent& /*event*/) {};
  ComPtr<host::RecordingSink> sink = host::MakeObject<host::RecordingSink>([this](const host::SinkEvent& event) {
    onSinkCall(event);
    if (isPlaying && event.packet) format->GetPacket(event.packet->GetStreamNumber());
  });
  ComPtr<IQBPlugin> plugin = library.CreateInstance();
  ComPtr<IQBFileFormatObject> format = plugin.Query<IQBFileFormatObject>();
};

}  // namespace qbflv::test
