// The reference host's files: slices of blocks, and URLs.
#include <gtest/gtest.h>

#include <string>

#include "host/block_reader.h"
#include "host/file_url.h"
#include "host/open_file.h"
#include "tests/support/temporary_folder.h"

namespace qbflv::host {
namespace {

/// More than any block has.
constexpr std::size_t kLargeFile = 1024 * 1024;

std::string Pattern(std::size_t size) {
  std::string content(size, '\0');
  for (std::size_t i = 0; i < size; ++i) content[i] = static_cast<char>(i * 2654435761U >> 13U);
  return content;
}

std::string Read(BlockReader& reader, std::size_t offset, std::uint32_t count) {
  Slice slice;
  EXPECT_EQ(reader.Read(offset, count, slice), kOk);
  return {reinterpret_cast<const char*>(slice.bytes.get()), slice.size};
}

TEST(BlockReader, ReadsOfAnySizeForwardsAndBack_NeedFewBlocksAndFindWhereTheFileWasCut) {
  const std::string content = Pattern(kLargeFile);
  const test::TemporaryFolder folder;
  const auto path = folder.Write("file", content);
  BlockReader reader(OpenFile(path));
  std::size_t offset = 0;
  for (std::uint32_t size = 1; offset < kLargeFile; size = size * 3 % 400009 + 1) {
    ASSERT_EQ(Read(reader, offset, size), content.substr(offset, size)) << size << " bytes at " << offset;
    offset += size;
  }
  const std::uint64_t blocks = reader.BlocksRead();
  for (offset = kLargeFile - 15; offset > 100; offset -= 100) {
    ASSERT_EQ(Read(reader, offset, 15), content.substr(offset, 15)) << offset;
  }
  EXPECT_LE(reader.BlocksRead() - blocks, 10U);
  std::filesystem::resize_file(path, kLargeFile / 2);
  EXPECT_EQ(Read(reader, kLargeFile / 2 - 10, 100), content.substr(kLargeFile / 2 - 10, 10));
  EXPECT_EQ(Read(reader, kLargeFile / 2, 100), "");
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
