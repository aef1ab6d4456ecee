// Playback of a film for one viewer: returns the tags that the plug-in delivers.
#include "nginx/playback/playback.h"

#include <algorithm>
#include <utility>

#include "flv/scan.h"
#include "host/buffer.h"
#include "host/host_error.h"
#include "host/request.h"

namespace qbflv::server {

/// Forwards calls to the playback until it is disconnected. Packets are queued, because Next continues after the
/// plug-in's turn.
class Playback::Sink final : public host::ComObject<IQBFormatSink> {
 public:
  explicit Sink(Playback& playback) : m_playback(&playback) {}

  void Disconnect() { m_playback = nullptr; }

  Status InitDone(Status status) override {
    return Forward(status, [](Playback& playback) { return playback.m_format->GetFileHeader(); });
  }
  Status FileHeaderReady(Status status, IQBPropertyList* header) override {
    return Forward(status, [header](Playback& playback) {
      playback.RequestHeaders(header);
      return kOk;
    });
  }
  Status StreamHeaderReady(Status status, IQBPropertyList* header) override {
    return Forward(status, [header](Playback& playback) {
      playback.TakeStreamHeader(header);
      return kOk;
    });
  }
  Status PacketReady(Status status, IQBPacket* packet) override {
    return Forward(status, [packet](Playback& playback) {
      playback.m_streams.at(packet->GetStreamNumber()).isRequested = false;
      playback.m_packets.push_back(ComPtr<IQBPacket>::Retain(packet));
      return kOk;
    });
  }
  Status StreamDone(std::uint16_t stream) override {
    return Forward(kOk, [stream](Playback& playback) {
      playback.m_streams.at(stream).isRequested = false;
      playback.m_streams.at(stream).isDone = true;
      return kOk;
    });
  }
  /// Not called, since Playback never seeks.
  Status SeekDone(Status /*status*/) override { return kOk; }

 private:
  /// Runs the action unless status is a failure. A failure ends the playback. Exceptions must not reach the plug-in.
  template <typename Action>
  Status Forward(Status status, Action action) {
    if (m_playback == nullptr) return kOk;
    try {
      if (Succeeded(status)) status = action(*m_playback);
    } catch (...) {
      status = kFailed;
    }
    if (Failed(status) && m_playback != nullptr) m_playback->m_state = State::kFailed;
    return kOk;
  }

  Playback* m_playback;
};

Playback::Playback(Engine& engine, TaskRunner& tasks, std::shared_ptr<const flv::FileSource> file,
                   std::function<void()> onReady)
    : m_engine(engine), m_tasks(tasks), m_source(std::move(file)), m_onReady(std::move(onReady)) {}

Playback::~Playback() { Close(); }

void Playback::Seek(std::uint32_t time) {
  // Keep a pass that is running for the previous Seek.
  const std::shared_ptr<FilmPass> previous = m_pass;
  Close();
  m_seek = std::make_shared<int>();
  m_state = State::kLoading;
  if (FindKnownPart(time)) return;
  m_pass = m_engine.passes.Find(*m_source);
  if (!m_pass) {
    Load(time, m_engine.passes.Begin(*m_source));
    return;
  }
  m_pass->waiters.emplace_back([this, seek = std::weak_ptr(m_seek), time] {
    if (seek.expired()) return;
    // Do not wait again for a film that the cache does not keep: its viewers would do their passes one by one.
    FinishTask([&] {
      if (!FindKnownPart(time)) Load(time, std::make_shared<FilmPass>());
    });
  });
}

bool Playback::FindKnownPart(std::uint32_t time) {
  auto part = FindPart(*m_source, m_engine.layouts, time, m_engine.largestPart);
  if (part) TakePart(std::move(*part));
  return part.has_value();
}

void Playback::Load(std::uint32_t time, std::shared_ptr<FilmPass> pass) {
  m_pass = std::move(pass);
  const auto result = std::make_shared<Part>();
  const auto work = [file = m_source, &engine = m_engine, time, result, pass = std::weak_ptr(m_pass)] {
    try {
      *result = LoadPart(*file, engine.layouts, time, engine.largestPart, [&] { return !pass.expired(); });
    } catch (...) {
      *result = {};
    }
  };
  const auto done = [this, &engine = m_engine, seek = std::weak_ptr(m_seek), result, pass = std::weak_ptr(m_pass)] {
    const std::shared_ptr<FilmPass> ended = pass.lock();
    if (!seek.expired()) FinishTask([&] { TakePart(std::move(*result)); });
    if (ended) engine.passes.End(ended);
  };
  if (!m_tasks.Run(work, done)) {
    m_pass = nullptr;
    m_state = State::kFailed;
  }
}

/// Takes the next step after a task. Completions must not throw.
template <typename Step>
void Playback::FinishTask(Step step) {
  m_pass = nullptr;
  try {
    step();
  } catch (...) {
    m_state = State::kFailed;
  }
  OnProgress();
}

void Playback::TakePart(Part part) {
  m_part = std::move(part);
  m_lastTime = m_part.start;
  const bool isPlayable = m_part.state == Part::State::kPlayable;
  if (isPlayable) m_film = m_engine.films.Get(m_source);
  m_state = isPlayable && m_film ? State::kLoaded : State::kFailed;
  if (m_part.state == Part::State::kPastEnd) m_state = State::kEnded;
}

const Part* Playback::GetPart() {
  if (m_state != State::kLoading) return &m_part;
  m_isAwaited = true;
  return nullptr;
}

void Playback::Open() {
  m_state = State::kOpening;
  m_file = host::MakeObject<StreamFile>(m_film, m_part.layout, m_tasks);
  m_file->SetListener([this] { OnProgress(); });
  m_sink = host::MakeObject<Sink>(*this);
  m_plugin = m_engine.library.CreateInstance();
  m_format = m_plugin.Query<IQBFileFormatObject>();
  if (!m_format) throw host::HostError("the plug-in's object is no file-format object", kNoInterface);
  Status status = m_plugin->InitPlugin(m_engine.context.Get());
  const auto request = host::MakeObject<host::Request>("film.flv");
  if (Succeeded(status)) status = m_format->InitFileFormat(request.Get(), m_sink.Get(), m_file.Get());
  if (Failed(status)) m_state = State::kFailed;
}

void Playback::Close() {
  m_seek = nullptr;
  m_pass = nullptr;
  if (m_sink) m_sink->Disconnect();
  if (m_file) m_file->SetListener(nullptr);
  if (m_format) m_format->Close();
  m_packets.clear();
  m_format = nullptr;
  m_plugin = nullptr;
  m_sink = nullptr;
  m_file = nullptr;
  m_fileHeader = nullptr;
  m_streamHeaders.clear();
  m_streams.clear();
  m_isComplete = false;
  m_repeated = 0;
}

void Playback::RequestHeaders(IQBPropertyList* fileHeader) {
  m_fileHeader = QueryFor<host::PropertyList>(fileHeader);
  std::uint32_t count = 0;
  if (fileHeader == nullptr || Failed(fileHeader->GetULONG32("StreamCount", &count)) || count == 0 || count > 2) {
    m_state = State::kFailed;
    return;
  }
  m_streams.reserve(count);
  m_streamHeaders.reserve(count);
  for (std::uint16_t stream = 0; stream < count && m_state == State::kOpening; ++stream) {
    if (Failed(m_format->GetStreamHeader(stream))) m_state = State::kFailed;
  }
  if (m_state == State::kOpening) m_state = State::kDelivering;
}

void Playback::TakeStreamHeader(IQBPropertyList* header) {
  m_streamHeaders.push_back(QueryFor<host::PropertyList>(header));
  std::uint32_t type = 0;
  if (Failed(header->GetULONG32("PayloadType", &type))) m_state = State::kFailed;
  m_streams.push_back({static_cast<flv::TagType>(type)});
}

Playback::Result Playback::Next(MediaTag& tag) {
  m_isAwaited = false;
  if (m_state == State::kLoaded) Open();
  while (true) {
    if (m_state == State::kEnded) return Result::kEnd;
    if (m_state == State::kFailed) return Result::kFailed;
    if (m_state != State::kDelivering) return Wait();
    if (m_packets.empty() && !RequestPackets()) {
      EndLayout();
      continue;
    }
    if (m_packets.empty()) {
      if (m_state == State::kDelivering) return Wait();
      continue;
    }
    const ComPtr<IQBPacket> packet = std::move(m_packets.front());
    m_packets.pop_front();
    if (TakePacket(*packet, tag)) return Result::kTag;
  }
}

/// Called when the plug-in has reached the end of the view. If the film has more tags, continues with a new object,
/// whose view begins with configurations that the viewer already has.
void Playback::EndLayout() {
  m_state = State::kFailed;
  if (!m_isComplete) return;
  m_state = State::kEnded;
  if (!Continue(m_part, m_lastTime)) return;
  Close();
  m_seek = std::make_shared<int>();
  m_repeated = m_part.layout->HeadConfigurations();
  m_state = State::kLoaded;
  Open();
}

/// Returns kPending, or kFailed if there is no task whose completion could continue the playback.
Playback::Result Playback::Wait() {
  if (m_state != State::kLoading && !m_file->IsReading()) {
    m_state = State::kFailed;
    return Result::kFailed;
  }
  m_isAwaited = true;
  return Result::kPending;
}

/// Requests a packet of each stream until one arrives inside the call. Returns false if none is left: all streams are
/// done.
bool Playback::RequestPackets() {
  for (std::size_t number = 0; number < m_streams.size() && m_packets.empty(); ++number) {
    Stream& stream = m_streams[number];
    if (stream.isDone || stream.isRequested) continue;
    stream.isRequested = true;
    if (Failed(m_format->GetPacket(static_cast<std::uint16_t>(number)))) m_state = State::kFailed;
  }
  return !m_packets.empty() || !std::ranges::all_of(m_streams, &Stream::isDone);
}

/// Converts a packet to a tag. Returns false for packets that the viewer must not get, such as closing tags and frames
/// before the start of the part.
bool Playback::TakePacket(IQBPacket& packet, MediaTag& tag) {
  tag.body = ComPtr<IQBBuffer>::Adopt(packet.GetPacketBuffer());
  tag.type = m_streams[packet.GetStreamNumber()].type;
  tag.time = packet.GetTime();
  const std::span<const std::uint8_t> body = host::BufferBytes(tag.body.Get());
  if (body.empty()) return false;
  if (m_part.layout->IsClosing(tag.time, body)) {
    m_isComplete = true;
    return false;
  }
  const auto type = static_cast<std::uint8_t>(tag.type);
  const bool isEarly = flv::TimeBetween(m_part.start, tag.time) < 0;
  const bool isConfiguration = flv::ContentOf(type, body) == flv::TagContent::kConfiguration;
  if (isConfiguration && m_repeated > 0) {
    --m_repeated;
    return false;
  }
  // In many files configurations have the timestamp 0.
  if (isConfiguration)
    tag.time = std::max(tag.time, m_lastTime);
  else if (isEarly)
    return false;
  if (m_end && tag.time >= *m_end) {
    m_state = State::kEnded;
    return false;
  }
  m_lastTime = std::max(m_lastTime, tag.time);
  return true;
}

void Playback::OnProgress() {
  const bool isBusy = m_state == State::kLoading || (m_file && m_file->IsReading());
  if (isBusy || !std::exchange(m_isAwaited, false)) return;
  const std::function<void()> onReady = m_onReady;
  onReady();
}

}  // namespace qbflv::server
