// The host's FLV writer: the bytes it writes, and what stays of its target when it fails. And the URL of a file.
#include "host/flv_writer.h"

#include <gtest/gtest.h>
#include <sys/resource.h>

#include <csignal>
#include <string>

#include "host/file_url.h"
#include "host/host_error.h"
#include "tests/unit/temporary_folder.h"

namespace qbflv::host {
namespace {

using namespace std::string_literals;

constexpr FlvWriter::Streams kBoth{true, true};

TEST(FlvWriter, Commit_PutsAWholeFileInTheTargetsPlace) {
  const TemporaryFolder folder;
  const auto target = folder.Write("out.flv", "old");
  std::filesystem::permissions(target, std::filesystem::perms(0640));
  std::filesystem::create_symlink("out.flv", folder / "link");
  const std::uint8_t body[] = {0x17, 0x01, 0xFF};

  FlvWriter writer(folder / "link", kBoth);
  writer.WriteTag(9, 0x81020304, body);
  writer.WriteTag(8, 5, {});
  EXPECT_EQ(folder.Read("out.flv"), "old") << "until the end";
  writer.Commit();

  EXPECT_EQ(folder.Read("out.flv"),
            "FLV\x01\x05\x00\x00\x00\x09\x00\x00\x00\x00"
            "\x09\x00\x00\x03\x02\x03\x04\x81\x00\x00\x00\x17\x01\xFF\x00\x00\x00\x0E"
            "\x08\x00\x00\x00\x00\x00\x05\x00\x00\x00\x00\x00\x00\x00\x0B"s);
  EXPECT_EQ(writer.Size(), 13u + 18u + 15u);
  EXPECT_TRUE(std::filesystem::is_symlink(folder / "link"));
  EXPECT_EQ(std::filesystem::status(target).permissions(), std::filesystem::perms(0640));
  EXPECT_EQ(folder.Count(), 2) << "no other file stays";
}

TEST(FlvWriter, Header_AnnouncesTheStreams) {
  const std::pair<FlvWriter::Streams, char> cases[] = {{{true, false}, 4}, {{false, true}, 1}, {{false, false}, 0}};
  for (const auto& [streams, flags] : cases) {
    const TemporaryFolder folder;
    FlvWriter writer(folder / "out.flv", streams);
    writer.Commit();
    EXPECT_EQ(folder.Read("out.flv").at(4), flags);
  }
}

/// Files of this process stay below size bytes while it lives.
class FileSizeLimit {
 public:
  explicit FileSizeLimit(rlim_t size) {
    std::signal(SIGXFSZ, SIG_IGN);
    getrlimit(RLIMIT_FSIZE, &m_old);
    const rlimit lower{size, m_old.rlim_max};
    setrlimit(RLIMIT_FSIZE, &lower);
  }
  FileSizeLimit(const FileSizeLimit&) = delete;
  FileSizeLimit& operator=(const FileSizeLimit&) = delete;
  ~FileSizeLimit() { setrlimit(RLIMIT_FSIZE, &m_old); }

 private:
  rlimit m_old{};
};

TEST(FlvWriter, Failure_LeavesTheTargetAndNothingElse) {
  const TemporaryFolder folder;
  folder.Write("out.flv", "old");
  const std::vector<std::uint8_t> large(0x1000000);
  {
    FlvWriter writer(folder / "out.flv", kBoth);
    writer.WriteTag(9, 0, {large.data(), 100});
  }
  EXPECT_EQ(folder.Count(), 1) << "given up";
  {
    FlvWriter writer(folder / "out.flv", kBoth);
    EXPECT_THROW(writer.WriteTag(9, 0, large), HostError) << "too large for a tag";
  }
  EXPECT_EQ(folder.Count(), 1);
  {
    const FileSizeLimit limit(1000);
    FlvWriter writer(folder / "out.flv", kBoth);
    EXPECT_THROW(writer.WriteTag(9, 0, {large.data(), large.size() - 1}), HostError) << "no room";
  }
  EXPECT_EQ(folder.Count(), 1);
  EXPECT_EQ(folder.Read("out.flv"), "old");
}

TEST(FlvWriter, TargetThatIsNoFile_IsRefused) {
  const TemporaryFolder folder;
  for (const std::filesystem::path& target :
       {folder.Path(), folder / "none" / "out.flv", std::filesystem::path("/dev/null")}) {
    EXPECT_THROW(FlvWriter(target, kBoth), HostError) << target;
  }
  EXPECT_EQ(folder.Count(), 0);
}

TEST(FileUrl, CharactersThatWouldBecomeOptions_AreEncoded) {
  const std::pair<const char*, const char*> cases[] = {
      {"/films/plain-1_2.~flv", "file:///films/plain-1_2.~flv"},
      {"/a?b=1&c#d$90%41 e", "file:///a%3Fb%3D1%26c%23d%2490%2541%20e"},
      {"/caf\xC3\xA9\n", "file:///caf%C3%A9%0A"},
  };
  for (const auto& [path, url] : cases) EXPECT_EQ(FileUrl(path), url) << path;
  EXPECT_EQ(FileUrl("film.flv"), FileUrl(std::filesystem::current_path() / "film.flv")) << "made absolute";
}

}  // namespace
}  // namespace qbflv::host
