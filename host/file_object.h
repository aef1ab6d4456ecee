// The host's file object: one file, of the file system or in memory, answering the way a chosen host would.
#pragma once

#include <cstdint>
#include <filesystem>
#include <memory>

#include "host/block_reader.h"
#include "host/buffer.h"
#include "host/com_object.h"
#include "host/event_loop.h"

namespace qbflv::host {

/// How a file object behaves: hosts differ, and a plug-in has to live with each.
struct FileOptions {
  enum class Answers { kInline, kQueued };
  enum class EndOfFile { kShort, kFail };
  enum class Stat { kYes, kNo, kFail };
  enum class Order { kRandom, kLinear };

  /// Inside the call that asks, or from the event loop.
  Answers answers = Answers::kInline;
  /// A read with nothing left gives an empty buffer, or fails with kFailed.
  EndOfFile endOfFile = EndOfFile::kShort;
  /// Whether there is IQBFileStat, and whether it knows.
  Stat stat = Stat::kYes;
  /// kLinear asks for front-to-back reading.
  Order order = Order::kRandom;
  /// Of a file of the file system.
  BlockReader::Observer onBlock;
};

/// What was asked of a file object.
struct FileCounts {
  std::uint64_t reads = 0;
  std::uint64_t seeks = 0;
  /// Bytes handed out.
  std::uint64_t bytes = 0;
};

class FileObject final : public ComObject<IQBSourceFile, IQBFileStat> {
 public:
  /// loop: runs the queued answers; must live as long as the object. Throws HostError for what is no readable file, or
  /// too large for 32-bit offsets.
  static ComPtr<FileObject> Open(const std::filesystem::path& path, FileOptions options, EventLoop& loop);

  /// reader: what the file's bytes come from.
  FileObject(BlockReader reader, FileOptions options, EventLoop& loop);

  /// Starts over at offset 0. The flags are not looked at: any position of any file can be read.
  Status Init(std::uint32_t flags, IQBFileResponse* response) override;
  /// What is still unanswered is dropped. Init may start the object again.
  Status Close() override;
  Status Read(std::uint32_t count) override;
  /// Succeeds for every offset; relative ones are refused, nobody asks for them.
  Status Seek(std::uint32_t offset, BOOL relative) override;
  Status SetAccessHint(std::uint32_t hint) override;

  Status Stat(IQBFileStatResponse* response) override;

  const FileCounts& Counts() const { return m_counts; }
  std::uint64_t BlocksRead() const { return m_reader.BlocksRead(); }

 protected:
  /// Without IQBFileStat when the options say so.
  void* FindInterface(const GUID& id) override;

 private:
  Status ReadBuffer(std::uint32_t count, ComPtr<Buffer>& buffer);

  /// completion: gives the answer. It holds the response, so that whom it answers lives on whatever is released
  /// meanwhile.
  template <typename Completion>
  Status Answer(Completion&& completion);

  BlockReader m_reader;
  const FileOptions m_options;
  EventLoop& m_loop;
  /// Null until Init and after Close. Each answer holds it, counted on this side of the boundary: that costs no call,
  /// and no atomic operation while the process has but one thread.
  std::shared_ptr<ComPtr<IQBFileResponse>> m_response;
  /// Changes with Close, so that an answer still queued is known to be late.
  std::uint32_t m_session = 0;
  std::uint64_t m_position = 0;
  FileCounts m_counts;
};

}  // namespace qbflv::host
