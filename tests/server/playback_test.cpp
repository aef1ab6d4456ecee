// Compares the tags that a viewer gets with the tags of the file.
#include "nginx/playback/playback.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <iterator>
#include <numeric>

#include "host/buffer.h"
#include "tests/support/flv_builder.h"
#include "tests/support/temporary_folder.h"

namespace qbflv::test {

namespace {

using server::MediaTag;
using server::Playback;

/// Runs tasks only when RunOne is called.
class LateTasks final : public server::TaskRunner {
 public:
  bool Run(std::function<void()> work, std::function<void()> done) override {
    m_tasks.emplace_back([work = std::move(work), done = std::move(done)] { work(), done(); });
    return true;
  }
  bool RunOne() {
    if (m_tasks.empty()) return false;
    const auto task = std::move(m_tasks.front());
    m_tasks.pop_front();
    task();
    return true;
  }

 private:
  std::deque<std::function<void()>> m_tasks;
};

struct Frame {
  std::uint8_t type;
  std::uint32_t time;
  std::size_t size;
  bool operator==(const Frame&) const = default;
};
void PrintTo(const Frame& frame, std::ostream* out) {
  *out << int{frame.type} << "@" << frame.time << "+" << frame.size;
}

/// Returns the codec configurations and everything from the last key frame at or before a time. REQUIRES: the file is
/// undamaged, and no tag is empty.
std::vector<Frame> ExpectedFrames(const Bytes& file, std::uint32_t start) {
  std::vector<Frame> all;
  std::vector<bool> isKey;
  std::vector<Frame> configurations;
  std::size_t first = 0;
  bool hasVideo = false;
  for (std::size_t at = 13; at + 11 <= file.size();) {
    const flv::TagHeader header = flv::ReadTagHeader(&file[at]);
    const std::uint8_t* const body = &file[at + 11];
    at += 11 + header.size + 4;
    if (header.type == kScriptTag) continue;
    const bool isVideo = header.type == kVideoTag;
    const bool isConfiguration = (isVideo ? body[0] % 16 == 7 : body[0] / 16 == 10) && body[1] == 0;
    hasVideo = hasVideo || isVideo;
    all.push_back({header.type, header.time, header.size});
    isKey.push_back(!isConfiguration && (!isVideo || body[0] / 16 == 1));
    if (isConfiguration) configurations.push_back(all.back());
  }
  for (std::size_t tag = 0; tag < all.size(); ++tag) {
    const bool isPlace = isKey[tag] && (!hasVideo || all[tag].type == kVideoTag);
    if (isPlace && all[tag].time <= start) first = tag;
  }
  if (start == 0) return all;
  std::vector<Frame> frames = configurations;
  for (Frame& frame : frames) frame.time = all[first].time;
  std::copy_if(all.begin() + static_cast<std::ptrdiff_t>(first), all.end(), std::back_inserter(frames),
               [&](const Frame& frame) { return frame.time >= all[first].time; });
  return frames;
}

Bytes ReadFile(const std::filesystem::path& path) {
  const std::string text = ReadBytes(path);
  return {text.begin(), text.end()};
}

/// Returns the frames of one stream. The plug-in sorts by time, so the order between streams differs from the file.
std::vector<Frame> OfStream(const std::vector<Frame>& frames, std::uint8_t type) {
  std::vector<Frame> ofStream;
  std::ranges::copy_if(frames, std::back_inserter(ofStream), [&](const Frame& frame) { return frame.type == type; });
  return ofStream;
}

class Server {
 public:
  /// isLate: runs tasks in Next instead of inside the call. readAhead: block size.
  explicit Server(bool isLate = true, std::size_t readAhead = 4096)
      : m_engine(QBFLV_PLUGIN_PATH, 1 << 20, readAhead), m_isLate(isLate) {}

  void LimitParts(std::uint64_t bytes) { m_engine.largestPart = bytes; }

  std::unique_ptr<Playback> Open(const std::filesystem::path& path) {
    server::TaskRunner& tasks = m_isLate ? static_cast<server::TaskRunner&>(m_tasks) : m_inline;
    return std::make_unique<Playback>(m_engine, tasks, flv::FileSource::Open(path), [this] { ++m_wakes; });
  }

  /// Gets the next tag. Like an event loop, runs tasks until onReady is called.
  Playback::Result Next(Playback& playback, MediaTag& tag) {
    while (true) {
      const int wakes = m_wakes;
      const Playback::Result result = playback.Next(tag);
      if (result != Playback::Result::kPending) return result;
      while (m_wakes == wakes && m_tasks.RunOne()) {
      }
      if (m_wakes == wakes) return Playback::Result::kPending;
    }
  }

  Playback::Result Rest(Playback& playback, std::vector<Frame>& frames) {
    MediaTag tag;
    Playback::Result result{};
    while ((result = Next(playback, tag)) == Playback::Result::kTag) {
      frames.push_back({static_cast<std::uint8_t>(tag.type), tag.time, tag.body->GetSize()});
    }
    return result;
  }

 private:
  server::Engine m_engine;
  LateTasks m_tasks;
  server::InlineTasks m_inline;
  const bool m_isLate;
  int m_wakes = 0;
};

class PlaybackTest : public testing::Test {
 protected:
  std::filesystem::path Write(const Bytes& bytes) {
    return m_folder.Write("film.flv", std::string(bytes.begin(), bytes.end()));
  }

  TemporaryFolder m_folder;
  Server m_server;
};

Bytes AudioOnly() {
  FlvBuilder file(kAudio);
  for (std::uint32_t time = 0; time < 60'000; time += 26) file.Audio(time, 100);
  return file.File();
}

Bytes VideoOnly() {
  FlvBuilder file(kVideo);
  for (std::uint32_t frame = 0; frame < 500; ++frame) file.Video(frame * 40, 200 + frame, frame % 50 == 0);
  return file.File();
}

TEST_F(PlaybackTest, FromEachStart_DeliversTheTagsOfTheFile) {
  const std::filesystem::path samples = QBFLV_SAMPLES;
  const std::pair<const char*, Bytes> films[] = {{"tour", ReadFile(samples / "tour.flv")},
                                                 {"sorenson", ReadFile(samples / "sorenson.flv")},
                                                 {"audio only", AudioOnly()},
                                                 {"video only", VideoOnly()}};
  for (const auto& [name, bytes] : films) {
    const auto path = Write(bytes);
    Server cached(false);
    const auto later = m_server.Open(path);
    const auto atOnce = cached.Open(path);
    // Seek one playback back and forth.
    for (const std::uint32_t start : {0U, 5500U, 1U, 4000U, 7500U, 2000U}) {
      SCOPED_TRACE(std::string(name) + " from " + std::to_string(start));
      later->Seek(start);
      atOnce->Seek(start);
      std::vector<Frame> frames;
      std::vector<Frame> same;
      EXPECT_EQ(m_server.Rest(*later, frames), Playback::Result::kEnd);
      EXPECT_EQ(cached.Rest(*atOnce, same), Playback::Result::kEnd);
      EXPECT_EQ(frames, same);
      const std::vector<Frame> expected = ExpectedFrames(bytes, start);
      for (const std::uint8_t type : {kAudioTag, kVideoTag}) {
        EXPECT_EQ(OfStream(frames, type), OfStream(expected, type));
      }
      EXPECT_TRUE(std::ranges::is_sorted(frames, {}, &Frame::time));
      EXPECT_TRUE(expected.empty() || later->GetPart()->start == (start == 0 ? 0 : expected.front().time));
    }
  }
}

TEST_F(PlaybackTest, UnplayablePart_StateHasTheReason) {
  using State = server::Part::State;
  const std::tuple<const char*, Bytes, std::uint32_t, State, Playback::Result> cases[] = {
      {"no FLV file", {1, 2, 3}, 0, State::kNotFlv, Playback::Result::kFailed},
      {"empty", {}, 0, State::kNotFlv, Playback::Result::kFailed},
      {"no tags", FlvBuilder(kBoth).File(), 0, State::kNoMedia, Playback::Result::kFailed},
      {"past the end", VideoOnly(), 30'000, State::kPastEnd, Playback::Result::kEnd},
      {"the last frame", VideoOnly(), 19'960, State::kPlayable, Playback::Result::kTag}};
  for (const auto& [name, bytes, start, state, result] : cases) {
    SCOPED_TRACE(name);
    const auto playback = m_server.Open(Write(bytes));
    playback->Seek(start);
    MediaTag tag;
    EXPECT_EQ(m_server.Next(*playback, tag), result);
    EXPECT_EQ(playback->GetPart()->state, state);
  }
}

/// Limits the size of the views instead of playing a film of 4 GiB.
TEST_F(PlaybackTest, FilmTooLargeForOneObject_ContinuesWithTheNext) {
  const auto path = std::filesystem::path(QBFLV_SAMPLES) / "tour.flv";
  Server limited;
  limited.LimitParts(30'000);
  const auto whole = m_server.Open(path);
  const auto chained = limited.Open(path);
  for (const std::uint32_t start : {0U, 4000U}) {
    SCOPED_TRACE(start);
    whole->Seek(start);
    chained->Seek(start);
    std::vector<Frame> expected;
    std::vector<Frame> frames;
    EXPECT_EQ(m_server.Rest(*whole, expected), Playback::Result::kEnd);
    EXPECT_EQ(limited.Rest(*chained, frames), Playback::Result::kEnd);
    for (const std::uint8_t type : {kAudioTag, kVideoTag}) {
      EXPECT_EQ(OfStream(frames, type), OfStream(expected, type));
    }
  }
}

/// When the file is truncated, the lost bytes are loaded already with large blocks, but not with small ones.
TEST_F(PlaybackTest, FileThatShrinks_EndsAsFailure) {
  for (const std::size_t readAhead : {std::size_t{4096}, std::size_t{1} << 20}) {
    SCOPED_TRACE(readAhead);
    Server server(true, readAhead);
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

TEST_F(PlaybackTest, EndAt_OmitsLaterFrames) {
  const auto playback = m_server.Open(Write(VideoOnly()));
  playback->EndAt(4000);
  playback->Seek(2000);
  std::vector<Frame> frames;
  EXPECT_EQ(m_server.Rest(*playback, frames), Playback::Result::kEnd);
  ASSERT_EQ(frames.size(), 50U);
  EXPECT_EQ(frames.back().time, 3960U);
}

TEST_F(PlaybackTest, PromisedSize_IsTheSizeOfTheTags) {
  const auto playback = m_server.Open(std::filesystem::path(QBFLV_SAMPLES) / "tour.flv");
  playback->Seek(0);
  std::vector<Frame> frames;
  EXPECT_EQ(m_server.Rest(*playback, frames), Playback::Result::kEnd);
  const auto size = std::accumulate(frames.begin(), frames.end(), std::uint64_t{13 + 15 + 100},
                                    [](std::uint64_t sum, const Frame& frame) { return sum + 15 + frame.size; });
  EXPECT_EQ(server::SizeWith(*playback->GetPart(), 100), size);
}

}  // namespace

}  // namespace qbflv::test
