// What goes into a file, and what stays of it when writing fails; and the URL of a file.
#include "cli/flv_writer.h"

#include <gtest/gtest.h>

#include <string>

#include "host/file_url.h"
#include "host/host_error.h"
#include "tests/support/temporary_folder.h"

namespace qbflv::cli {
namespace {

using test::ReadBytes;
using test::TemporaryFolder;

using namespace std::string_literals;

/// Of a file with both streams.
flv::FileFacts BothStreams() {
  flv::FileFacts facts;
  facts.audio.tags = 1;
  facts.video.tags = 1;
  return facts;
}

const flv::FileFacts kBoth = BothStreams();

TEST(FlvWriter, Commit_ReplacesTheTargetWithAWholeFile) {
  const TemporaryFolder folder;
  const auto target = folder.Write("out.flv", "old");
  std::filesystem::permissions(target, std::filesystem::perms(0640));
  std::filesystem::create_symlink("out.flv", folder / "link");
  const std::uint8_t body[] = {0x17, 0x01, 0xFF};
  const std::string tags =
      "\x09\x00\x00\x03\x02\x03\x04\x81\x00\x00\x00\x17\x01\xFF\x00\x00\x00\x0E"
      "\x09\x00\x00\x00\x00\x00\x05\x00\x00\x00\x00\x00\x00\x00\x0B"s;

  FlvWriter writer(folder / "link", kBoth, 0);
  writer.WriteTag(flv::TagType::kVideo, 0x81020304, body);
  writer.WriteTag(flv::TagType::kVideo, 5, {});
  EXPECT_EQ(ReadBytes(folder / "out.flv"), "old") << "until the end";
  writer.Commit();

  const std::string file = ReadBytes(folder / "out.flv");
  // No audio was written, so none is announced.
  EXPECT_TRUE(file.starts_with("FLV\x01\x01\x00\x00\x00\x09\x00\x00\x00\x00\x12"s));
  EXPECT_TRUE(file.ends_with(tags));
  EXPECT_EQ(writer.Size(), file.size());
  EXPECT_TRUE(std::filesystem::is_symlink(folder / "link"));
  EXPECT_EQ(std::filesystem::status(target).permissions(), std::filesystem::perms(0640));
  EXPECT_EQ(folder.Names().size(), 2) << "no other file stays";
}

TEST(FlvWriter, Failure_LeavesTheTargetAndNothingElse) {
  const TemporaryFolder folder;
  folder.Write("out.flv", "old");
  const std::vector<std::uint8_t> large(0x1000000);
  FlvWriter(folder / "out.flv", kBoth, 0).WriteTag(flv::TagType::kVideo, 0, {large.data(), 100});
  EXPECT_EQ(folder.Names().size(), 1) << "given up";
  EXPECT_THROW(FlvWriter(folder / "out.flv", kBoth, 0).WriteTag(flv::TagType::kVideo, 0, large), host::HostError)
      << "too large for a tag";
  for (const std::filesystem::path& target :
       {folder.Path(), folder / "none" / "out.flv", std::filesystem::path("/dev/null")}) {
    EXPECT_THROW(FlvWriter(target, kBoth, 0), host::HostError) << target;
  }
  EXPECT_EQ(folder.Names().size(), 1);
  EXPECT_EQ(ReadBytes(folder / "out.flv"), "old");
}

TEST(FileUrl, CharactersThatWouldBecomeOptions_AreEncoded) {
  const std::pair<const char*, const char*> cases[] = {
      {"/films/plain-1_2.~flv", "file:///films/plain-1_2.~flv"},
      {"/a?b=1&c#d$90%41 e", "file:///a%3Fb%3D1%26c%23d%2490%2541%20e"},
      {"/caf\xC3\xA9\n", "file:///caf%C3%A9%0A"},
  };
  for (const auto& [path, url] : cases) EXPECT_EQ(host::FileUrl(path), url) << path;
  EXPECT_EQ(host::FileUrl("film.flv"), host::FileUrl(std::filesystem::current_path() / "film.flv")) << "made absolute";
}

}  // namespace
}  // namespace qbflv::cli
