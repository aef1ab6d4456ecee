// The host's file object: slices of blocks, ends of files, and when it completes.
#include "host/file_object.h"

#include <gtest/gtest.h>

#include <string>

#include "host/buffer.h"
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

/// Keeps the last buffer, and counts.
class Response final : public ComObject<IQBFileResponse, IQBFileStatResponse> {
 public:
  Status InitDone(Status /*status*/) override { return Note(nullptr); }
  Status CloseDone(Status /*status*/) override { return Note(nullptr); }
  Status ReadDone(Status /*status*/, IQBBuffer* bytes) override { return Note(bytes); }
  Status WriteDone(Status /*status*/) override { return Note(nullptr); }
  Status SeekDone(Status /*status*/) override { return Note(nullptr); }
  Status StatDone(Status /*status*/, std::uint32_t /*size*/) override { return Note(nullptr); }

  int completions = 0;
  ComPtr<IQBBuffer> buffer;

 private:
  Status Note(IQBBuffer* bytes) {
    ++completions;
    buffer = ComPtr<IQBBuffer>::Retain(bytes);
    return kOk;
  }
};

class HostFileObject : public testing::Test {
 protected:
  void Open(FileOptions options = {}) {
    m_file = FileObject::Open(m_path, std::move(options), m_loop);
    m_file->Init(5, m_response.Get());
  }

  std::string Read(std::uint32_t count) {
    m_file->Read(count);
    const auto bytes = BufferBytes(m_response->buffer.Get());
    return {bytes.begin(), bytes.end()};
  }

  const std::string m_content = Pattern(kLargeFile);
  const test::TemporaryFolder m_folder;
  const std::filesystem::path m_path = m_folder.Write("file", m_content);
  EventLoop m_loop;
  ComPtr<FileObject> m_file;
  const ComPtr<Response> m_response = MakeObject<Response>();
};

TEST_F(HostFileObject, ReadsOfAnySizeAcrossBlocks_GiveTheFilesBytes) {
  Open();
  std::size_t offset = 0;
  for (std::uint32_t size = 1; offset < kLargeFile; size = size * 3 % 400009 + 1) {
    ASSERT_EQ(Read(size), m_content.substr(offset, size)) << size << " bytes at " << offset;
    offset += size;
  }
}

TEST_F(HostFileObject, WalkingBack_NeedsFewBlocksAndFindsWhereTheFileWasCut) {
  Open();
  for (std::uint32_t offset = kLargeFile - 15; offset > 100; offset -= 100) {
    m_file->Seek(offset, 0);
    ASSERT_EQ(Read(15), m_content.substr(offset, 15)) << offset;
  }
  EXPECT_LE(m_file->BlocksRead(), 10U);
  std::filesystem::resize_file(m_path, kLargeFile / 2);
  m_file->Seek(kLargeFile / 2 - 10, 0);
  EXPECT_EQ(Read(100), m_content.substr(kLargeFile / 2 - 10, 10));
  EXPECT_EQ(Read(100), "");
}

TEST_F(HostFileObject, QueuedCompletions_WaitForTheLoopAndEndWithClose) {
  FileOptions options;
  options.completions = FileOptions::Completions::kQueued;
  Open(options);
  m_file->Read(10);
  m_file->Seek(5, 0);
  EXPECT_EQ(m_response->completions, 0);
  while (m_loop.RunOne()) continue;
  EXPECT_EQ(m_response->completions, 3);
  m_file->Read(10);
  m_file->Close();
  while (m_loop.RunOne()) continue;
  EXPECT_EQ(m_response->completions, 3) << "nothing completes after Close";
  EXPECT_EQ(m_file->Read(10), kInvalidState);
}

}  // namespace
}  // namespace qbflv::host
