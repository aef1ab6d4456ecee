// Playbacks in states that clients of a real server reach only with luck: server_test.py and trouble_test.py play whole
// films, and parts of them, to clients.
#include "nginx/playback/playback.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <tuple>

#include "host/buffer.h"
#include "host/event_loop.h"
#include "tests/support/flv_builder.h"
#include "tests/support/temporary_folder.h"

namespace qbflv::test {

namespace {

using server::MediaTag;
using server::Playback;

/// Runs tasks only when the test says so.
struct LateTasks final : server::TaskRunner {
  bool Run(std::function<void()> work, std::function<void()> done) override {
    ++count;
    loop.Post([work = std::move(work), done = std::move(done)] { work(), done(); });
    return true;
  }

  host::EventLoop loop;
  int count = 0;
};

/// Type, time and size.
using Frame = std::tuple<flv::TagType, std::uint32_t, std::uint32_t>;

class Server {
 public:
  /// readAhead: block size.
  explicit Server(std::size_t readAhead = 4096) : m_engine(QBFLV_PLUGIN_PATH, 1 << 20, readAhead) {}

  void LimitParts(std::uint64_t bytes) { m_engine.largestPart = bytes; }
  bool HasLayouts() const { return m_engine.layouts.MemoryUse() > 0; }
  int TaskCount() const { return m_tasks.count; }
  void RunTasks() {
    while (m_tasks.loop.RunOne()) {
    }
  }

  std::unique_ptr<Playback> Open(const std::filesystem::path& path) {
    return std::make_unique<Playback>(m_engine, m_tasks, flv::FileSource::Open(path), [this] { ++m_wakes; });
  }

  /// Opens a film for each of the times, without waiting for it.
  std::vector<std::unique_ptr<Playback>> OpenAt(const std::filesystem::path& path,
                                                std::initializer_list<std::uint32_t> times) {
    std::vector<std::unique_ptr<Playback>> viewers;
    for (const std::uint32_t time : times) {
      viewers.push_back(Open(path));
      viewers.back()->Seek(time);
    }
    return viewers;
  }

  /// Gets the next tag. Like an event loop, runs tasks until onReady is called.
  Playback::Result Next(Playback& playback, MediaTag& tag) {
    while (true) {
      const int wakes = m_wakes;
      const Playback::Result result = playback.Next(tag);
      if (result != Playback::Result::kPending) return result;
      while (m_wakes == wakes && m_tasks.loop.RunOne()) {
      }
      if (m_wakes == wakes) return Playback::Result::kPending;
    }
  }

  Playback::Result Rest(Playback& playback, std::vector<Frame>& frames) {
    MediaTag tag;
    Playback::Result result{};
    while ((result = Next(playback, tag)) == Playback::Result::kTag) {
      frames.emplace_back(tag.type, tag.time, tag.body->GetSize());
    }
    return result;
  }

 private:
  server::Engine m_engine;
  LateTasks m_tasks;
  int m_wakes = 0;
};

Bytes VideoOnly() {
  FlvBuilder file(kVideo);
  for (std::uint32_t frame = 0; frame < 500; ++frame) file.Video(frame * 40, 200 + frame, frame % 50 == 0);
  return file.File();
}

class PlaybackTest : public testing::Test {
 protected:
  TemporaryFolder m_folder;
  std::filesystem::path Write(const Bytes& bytes) {
    return m_folder.Write("film.flv", std::string(bytes.begin(), bytes.end()));
  }
  Server m_server;
};

/// Limits the size of the views instead of playing a film of 4 GiB.
TEST_F(PlaybackTest, FilmTooLargeForOneObject_ContinuesWithTheNext) {
  const auto path = std::filesystem::path(QBFLV_SAMPLES) / "tour.flv";
  Server limited;
  limited.LimitParts(30'000);
  for (const std::uint32_t start : {0U, 4000U}) {
    SCOPED_TRACE(start);
    const auto whole = m_server.Open(path);
    const auto chained = limited.Open(path);
    whole->Seek(start);
    chained->Seek(start);
    std::vector<Frame> expected;
    std::vector<Frame> frames;
    EXPECT_EQ(m_server.Rest(*whole, expected), Playback::Result::kEnd);
    EXPECT_EQ(limited.Rest(*chained, frames), Playback::Result::kEnd);
    // Where one object ends, the order between the streams differs.
    const auto type = [](const Frame& frame) { return std::get<0>(frame); };
    std::ranges::stable_sort(expected, {}, type);
    std::ranges::stable_sort(frames, {}, type);
    EXPECT_EQ(frames, expected);
  }
}

/// When the file is truncated, the lost bytes are loaded already with large blocks, but not with small ones.
TEST_F(PlaybackTest, FileThatShrinks_EndsAsFailure) {
  for (const std::size_t readAhead : {std::size_t{4096}, std::size_t{1} << 20}) {
    SCOPED_TRACE(readAhead);
    Server server(readAhead);
    const auto path = Write(VideoOnly());
    const auto playback = server.Open(path);
    playback->Seek(0);
    MediaTag tag;
    ASSERT_EQ(server.Next(*playback, tag), Playback::Result::kTag);
    std::filesystem::resize_file(path, 50'000);
    std::vector<Frame> frames;
    EXPECT_EQ(server.Rest(*playback, frames), Playback::Result::kFailed);
    EXPECT_GT(frames.size(), 100U);
    EXPECT_LT(frames.size(), 200U);
    // New viewers play the truncated film.
    const auto next = server.Open(path);
    next->Seek(0);
    EXPECT_EQ(server.Rest(*next, frames), Playback::Result::kEnd);
  }
}

TEST_F(PlaybackTest, ViewersThatWaitForAFilm_ShareThePassUntilTheLastHasLeft) {
  const auto path = Write(VideoOnly());
  for (const std::size_t left : {3U, 1U}) {
    SCOPED_TRACE(left);
    const int tasks = m_server.TaskCount();
    auto viewers = m_server.OpenAt(path, {0, 2000, 4000});
    viewers.back()->Seek(8000);
    viewers.erase(viewers.begin(), viewers.begin() + static_cast<std::ptrdiff_t>(left));
    m_server.RunTasks();
    EXPECT_EQ(m_server.TaskCount() - tasks, 1);
    EXPECT_EQ(m_server.HasLayouts(), !viewers.empty());
    for (const auto& viewer : viewers) EXPECT_EQ(viewer->GetPart()->start, viewer == viewers.back() ? 8000U : 2000U);
  }
  // The result of a pass that the cache does not keep is not shared.
  const auto viewers = m_server.OpenAt(Write({'t', 'e', 'x', 't'}), {0, 0, 0});
  m_server.RunTasks();
  for (const auto& viewer : viewers) {
    ASSERT_NE(viewer->GetPart(), nullptr);
    EXPECT_EQ(viewer->GetPart()->state, server::Part::State::kNotFlv);
  }
}

TEST_F(PlaybackTest, FilmWithAJumpAtEachTag_IsTooComplex) {
  FlvBuilder file(kVideo);
  for (std::uint32_t frame = 0; frame < 300'000; ++frame) file.Tag(9, frame % 2 * 20'000, {0x12});
  const auto playback = m_server.Open(Write(file.File()));
  playback->Seek(0);
  m_server.RunTasks();
  EXPECT_EQ(playback->GetPart()->state, server::Part::State::kTooComplex);
}

/// Late completions must not access destroyed objects.
TEST_F(PlaybackTest, SeekOrEndDuringARead_IsSafe) {
  const auto path = Write(VideoOnly());
  for (int steps = 0; steps < 40; ++steps) {
    auto playback = m_server.Open(path);
    playback->Seek(0);
    MediaTag tag;
    for (int step = 0; step < steps; ++step) static_cast<void>(playback->Next(tag));
    playback->Seek(4000);
    static_cast<void>(playback->Next(tag));
    playback->Seek(8100);
    ASSERT_EQ(m_server.Next(*playback, tag), Playback::Result::kTag);
    EXPECT_EQ(tag.time, 8000U);
    static_cast<void>(playback->Next(tag));
    playback = nullptr;
  }
}

}  // namespace

}  // namespace qbflv::test
