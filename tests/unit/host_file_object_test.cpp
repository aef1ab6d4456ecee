// The host's file object: blocks and slices, ends of files, and answers inside the call or later.
#include "host/file_object.h"

#include <gtest/gtest.h>
#include <sys/stat.h>

#include <cstring>
#include <functional>
#include <optional>
#include <string>

#include "host/buffer.h"
#include "host/host_error.h"
#include "tests/unit/temporary_folder.h"

namespace qbflv::host {
namespace {

/// Where blocks end is the file object's business; this is more than any block has.
constexpr std::size_t kLargeFile = 1024 * 1024;

std::string Pattern(std::size_t size) {
  std::string content(size, '\0');
  for (std::size_t i = 0; i < size; ++i) content[i] = static_cast<char>(i * 2654435761u >> 13);
  return content;
}

/// Keeps the last answer, then does what the test wants done inside it.
class Response final : public ComObject<IQBFileResponse, IQBFileStatResponse> {
 public:
  Status InitDone(Status status) override { return Take("Init", status, nullptr, 0); }
  Status CloseDone(Status status) override { return Take("Close", status, nullptr, 0); }
  Status ReadDone(Status status, IQBBuffer* buffer) override { return Take("Read", status, buffer, 0); }
  Status WriteDone(Status status) override { return Take("Write", status, nullptr, 0); }
  Status SeekDone(Status status) override { return Take("Seek", status, nullptr, 0); }
  Status StatDone(Status status, std::uint32_t size) override { return Take("Stat", status, nullptr, size); }

  std::string log;
  Status lastStatus = kOk;
  ComPtr<IQBBuffer> lastBuffer;
  std::uint32_t lastSize = 0;
  std::function<void()> inside;

 private:
  Status Take(const char* what, Status answered, IQBBuffer* bytes, std::uint32_t fileSize) {
    log += what;
    log += ' ';
    lastStatus = answered;
    lastBuffer = ComPtr<IQBBuffer>::Retain(bytes);
    lastSize = fileSize;
    if (const auto action = std::exchange(inside, nullptr)) action();
    return kOk;
  }
};

class HostFileObject : public testing::Test {
 protected:
  void Open(const std::string& content, FileOptions options = {}) {
    m_path = m_folder.Write("file", content);
    m_file = FileObject::Open(m_path, std::move(options), m_loop);
    m_file->Init(5, m_response.Get());
  }

  /// The bytes of one read, or nothing if it failed.
  std::optional<std::string> Read(std::uint32_t count) {
    m_file->Read(count);
    return LastRead();
  }

  std::optional<std::string> LastRead() const {
    if (Failed(m_response->lastStatus) || !m_response->lastBuffer) return std::nullopt;
    const auto bytes = BufferBytes(m_response->lastBuffer.Get());
    return std::string(bytes.begin(), bytes.end());
  }

  TemporaryFolder m_folder;
  std::filesystem::path m_path;
  EventLoop m_loop;
  ComPtr<FileObject> m_file;
  const ComPtr<Response> m_response = MakeObject<Response>();
};

TEST_F(HostFileObject, SmallReads_AreNeighbouringSlicesOfOneBlock) {
  const std::string content = Pattern(kLargeFile);
  Open(content);
  ASSERT_EQ(Read(15), content.substr(0, 15));
  const std::uint8_t* const first = m_response->lastBuffer->GetBuffer();
  for (std::size_t i = 1; i < 1000; ++i) ASSERT_EQ(Read(15), content.substr(15 * i, 15)) << i;
  EXPECT_EQ(m_response->lastBuffer->GetBuffer(), first + 15 * 999);
  EXPECT_EQ(m_file->BlocksRead(), 1u);
}

TEST_F(HostFileObject, ReadsOfAnySizeAcrossBlocks_GiveTheFilesBytes) {
  const std::string content = Pattern(kLargeFile);
  Open(content);
  std::size_t offset = 0;
  for (std::uint32_t size = 1; offset < content.size(); size = size * 3 % 400009 + 1) {
    ASSERT_EQ(Read(size), content.substr(offset, size)) << size << " bytes at " << offset;
    offset += size;
  }
}

TEST_F(HostFileObject, WalkingBack_NeedsAboutAsManyBlocksAsWalkingForward) {
  const std::string content = Pattern(kLargeFile);
  Open(content);
  for (std::uint32_t offset = kLargeFile - 15; offset > 100; offset -= 100) {
    m_file->Seek(offset, 0);
    ASSERT_EQ(Read(15), content.substr(offset, 15)) << offset;
  }
  EXPECT_LE(m_file->BlocksRead(), 10u);
}

TEST_F(HostFileObject, ReadAtTheEnd_GivesWhatIsLeftOrFailsAsChosen) {
  using EndOfFile = FileOptions::EndOfFile;
  struct Case {
    EndOfFile mode;
    std::uint32_t offset;
    std::uint32_t count;
    std::optional<std::size_t> size;
  };
  const Case cases[] = {
      {EndOfFile::kShort, 96, 15, 4},          {EndOfFile::kFail, 96, 15, 4},
      {EndOfFile::kShort, 100, 15, 0},         {EndOfFile::kFail, 100, 15, std::nullopt},
      {EndOfFile::kShort, 0xFFFFFFFF, 15, 0},  {EndOfFile::kFail, 0xFFFFFFFF, 15, std::nullopt},
      {EndOfFile::kShort, 0, 0xFFFFFFFF, 100}, {EndOfFile::kFail, 0, 0xFFFFFFFF, 100},
      {EndOfFile::kShort, 100, 0, 0},          {EndOfFile::kFail, 100, 0, 0},
  };
  for (const Case& test : cases) {
    FileOptions options;
    options.endOfFile = test.mode;
    Open(Pattern(100), options);
    m_file->Seek(test.offset, 0);
    EXPECT_EQ(m_response->lastStatus, kOk);
    const auto bytes = Read(test.count);
    const std::string label = std::to_string(test.count) + " bytes at " + std::to_string(test.offset) +
                              (test.mode == EndOfFile::kFail ? ", failing" : ", short");
    ASSERT_EQ(bytes.has_value(), test.size.has_value()) << label;
    if (bytes) {
      EXPECT_EQ(bytes->size(), *test.size) << label;
    } else {
      EXPECT_EQ(m_response->lastStatus, kFailed) << label;
    }
  }
}

TEST_F(HostFileObject, FileThatShrinks_GivesWhatIsLeft) {
  const std::string content = Pattern(kLargeFile);
  Open(content);
  ASSERT_EQ(Read(15), content.substr(0, 15));
  std::filesystem::resize_file(m_path, kLargeFile / 2);
  m_file->Seek(kLargeFile / 2 - 10, 0);
  EXPECT_EQ(Read(100), content.substr(kLargeFile / 2 - 10, 10));
  EXPECT_EQ(Read(100), "");
}

TEST_F(HostFileObject, QueuedAnswers_WaitForTheLoopAndEndWithClose) {
  FileOptions options;
  options.answers = FileOptions::Answers::kQueued;
  Open(Pattern(100), options);
  m_file->Read(10);
  m_file->Seek(5, 0);
  EXPECT_EQ(m_response->log, "");
  while (m_loop.RunOne()) {
  }
  EXPECT_EQ(m_response->log, "Init Read Seek ");

  m_file->Read(10);
  m_file->Close();
  while (m_loop.RunOne()) {
  }
  EXPECT_EQ(m_response->log, "Init Read Seek ") << "nothing is answered after Close";
  EXPECT_EQ(m_file->Read(10), kInvalidState);
}

TEST_F(HostFileObject, AnswerThatReadsOnOrReleasesTheFile_IsTolerated) {
  const std::string content = Pattern(100);
  Open(content);
  m_response->inside = [&] { m_file->Read(10); };
  m_file->Read(10);
  EXPECT_EQ(m_response->log, "Init Read Read ");
  EXPECT_EQ(LastRead(), content.substr(10, 10));

  FileObject* const file = m_file.Get();
  m_response->inside = [&] {
    m_file->Close();
    m_file = nullptr;
  };
  EXPECT_EQ(file->Read(10), kOk);
  EXPECT_EQ(m_response->log, "Init Read Read Read ");
}

TEST_F(HostFileObject, StatAndOrder_AreAsChosen) {
  using Stat = FileOptions::Stat;
  struct Case {
    Stat stat;
    const char* answer;
    Status status;
    std::uint32_t size;
  };
  for (const Case& test :
       {Case{Stat::kYes, "Stat ", kOk, 100}, {Stat::kFail, "Stat ", kFailed, 0}, {Stat::kNo, "", kOk, 0}}) {
    FileOptions options;
    options.stat = test.stat;
    options.order = FileOptions::Order::kLinear;
    Open(Pattern(100), options);
    m_response->log.clear();
    if (const auto stat = m_file.Query<IQBFileStat>()) stat->Stat(m_response.Get());
    EXPECT_EQ(m_response->log, test.answer);
    EXPECT_EQ(m_response->lastStatus, test.status) << test.answer;
    EXPECT_EQ(m_response->lastSize, test.size) << test.answer;
    EXPECT_EQ(m_file->SetAccessHint(1), kPrefersLinearAccess);
  }
}

TEST_F(HostFileObject, WhatIsNoReadableFile_IsRefusedInWords) {
  const auto huge = m_folder.Write("huge", "FLV");
  std::filesystem::resize_file(huge, 0x100000000);
  ASSERT_EQ(mkfifo((m_folder / "pipe").c_str(), 0600), 0);
  const std::pair<std::filesystem::path, const char*> cases[] = {
      {m_folder.Path(), "directory"},
      {m_folder / "pipe", "not a regular file"},
      {m_folder / "missing", "No such file"},
      {huge, "4 GiB"},
  };
  for (const auto& [path, words] : cases) {
    try {
      FileObject::Open(path, {}, m_loop);
      ADD_FAILURE() << path << " was opened";
    } catch (const HostError& error) {
      EXPECT_NE(std::strstr(error.what(), words), nullptr) << path << ": " << error.what();
    }
  }
  std::filesystem::resize_file(huge, 0xFFFFFFFF);
  EXPECT_TRUE(FileObject::Open(huge, {}, m_loop)) << "one byte less than 4 GiB";
}

}  // namespace
}  // namespace qbflv::host
