// The reference host's session: it pauses, goes on and seeks without losing or inventing a packet.
#include "host/session.h"

#include <gtest/gtest.h>

#include <fstream>
#include <random>
#include <stdexcept>

#include "tests/support/seek_script.h"

namespace qbflv::test {
namespace {

using host::FileOptions;
using host::Session;
using Lines = std::vector<std::string>;

/// A file on the disk, gone after the test.
class DiskFile {
 public:
  explicit DiskFile(const Bytes& bytes) {
    std::ofstream stream(m_path, std::ios::binary);
    stream.write(reinterpret_cast<const char*>(bytes.data()), static_cast<std::streamsize>(bytes.size()));
  }
  DiskFile(const DiskFile&) = delete;
  DiskFile& operator=(const DiskFile&) = delete;
  ~DiskFile() {
    std::error_code ignored;
    std::filesystem::remove(m_path, ignored);
  }

  host::SessionOptions Options(FileOptions::Answers answers) const {
    host::SessionOptions options;
    options.plugin = QBFLV_PLUGIN_PATH;
    options.file = m_path;
    options.url = "file:///film.flv";
    options.fileOptions.answers = answers;
    return options;
  }

 private:
  const std::filesystem::path m_path =
      std::filesystem::temp_directory_path() / ("qbflv-session-" + std::to_string(std::random_device()()) + ".flv");
};

/// Notes what comes, as "0@100" or "0 done", and has enough each time it has noted so many.
host::PacketHandlers Note(Lines& lines, std::size_t atOnce = 1'000'000) {
  const auto note = [&lines, end = lines.size() + atOnce](const std::string& line) {
    lines.push_back(line);
    return lines.size() < end;
  };
  return {.onPacket =
              [note](IQBPacket& packet) {
                return note(std::to_string(packet.GetStreamNumber()) + "@" + std::to_string(packet.GetTime()));
              },
          .onStreamDone = [note](std::uint16_t stream) { return note(std::to_string(stream) + " done"); }};
}

Lines ReadAll(Session& session) {
  Lines lines;
  session.ReadPackets(Note(lines));
  EXPECT_TRUE(session.DeliveryEnded());
  return lines;
}

class HostSession : public testing::TestWithParam<FileOptions::Answers> {
 protected:
  HostSession() { m_session.ReadHeaders(); }

  const DiskFile m_file{SeekFile().File()};
  Session m_session{m_file.Options(GetParam())};
};

TEST_P(HostSession, PausedAgainAndAgain_DeliversTheSameAsInOneGo) {
  const Lines whole = ReadAll(m_session);
  ASSERT_EQ(whole.size(), 14U) << "twelve packets and two ends";
  for (const std::size_t atOnce : {1U, 2U, 5U}) {
    SCOPED_TRACE(atOnce);
    Session paused(m_file.Options(GetParam()));
    paused.ReadHeaders();
    Lines lines;
    for (int i = 0; i < 20 && !paused.DeliveryEnded(); ++i) {
      const std::size_t before = lines.size();
      paused.ReadPackets(Note(lines, atOnce));
      EXPECT_LE(lines.size(), before + atOnce);
    }
    EXPECT_EQ(lines, whole);
    paused.ReadPackets(Note(lines));
    EXPECT_EQ(lines, whole) << "nothing comes after the end";
  }
}

TEST_P(HostSession, SoughtFromAnywhere_DeliversAllFromThereAndNothingOlder) {
  const Lines whole = ReadAll(m_session);
  for (const std::size_t played : {0U, 1U, 4U, 13U, 14U}) {
    SCOPED_TRACE(played);
    Session sought(m_file.Options(GetParam()));
    sought.ReadHeaders();
    Lines before;
    if (played > 0) sought.ReadPackets(Note(before, played));
    const host::SeekResult result = sought.Seek(0);
    EXPECT_EQ(result.status, kOk);
    EXPECT_EQ(result.counts.reads, played == 0 ? 2U : 1U) << "over the metadata, unless the first packet is known";
    EXPECT_EQ(result.counts.seeks, result.counts.reads + 1);
    EXPECT_EQ(result.counts.bytes, 16 * result.counts.reads);
    EXPECT_FALSE(sought.DeliveryEnded());
    EXPECT_EQ(ReadAll(sought), whole);
    EXPECT_EQ(sought.Seek(99'999).status, kOk);
    EXPECT_EQ(ReadAll(sought).size(), 2U) << "both ends";
  }
}

TEST_P(HostSession, WhoseHandlerThrows_PassesItOnAndGoesOn) {
  const Lines whole = ReadAll(m_session);
  Session thrown(m_file.Options(GetParam()));
  thrown.ReadHeaders();
  host::PacketHandlers handlers;
  handlers.onPacket = [](IQBPacket&) -> bool { throw std::runtime_error("full"); };
  EXPECT_THROW(thrown.ReadPackets(std::move(handlers)), std::runtime_error);
  EXPECT_EQ(ReadAll(thrown), Lines(whole.begin() + 1, whole.end())) << "all but the one that was refused";
}

INSTANTIATE_TEST_SUITE_P(Answers, HostSession,
                         testing::Values(FileOptions::Answers::kInline, FileOptions::Answers::kQueued),
                         [](const auto& answers) {
                           return answers.param == FileOptions::Answers::kInline ? "Inline" : "Queued";
                         });

}  // namespace
}  // namespace qbflv::test
