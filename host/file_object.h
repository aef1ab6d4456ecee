// The host's file object: one file on disk or in memory, with the behaviour of a selected kind of host.
#pragma once

#include <cstdint>
#include <filesystem>
#include <memory>

#include "host/block_reader.h"
#include "host/buffer.h"
#include "host/com_object.h"
#include "host/event_loop.h"

namespace qbflv::host {

/// Selects the behaviour of a file object. Real hosts differ in these points, and the plug-in must work with each.
struct FileOptions {
  enum class Completions { kInline, kQueued };
  enum class EndOfFile { kShort, kFail };
  enum class Stat { kYes, kNo, kFail };
  enum class Order { kRandom, kLinear };

  /// Operations complete inside the call, or later from the event loop.
  Completions completions = Completions::kInline;
  /// A read at the end of the file returns an empty buffer, or fails with kFailed.
  EndOfFile endOfFile = EndOfFile::kShort;
  /// kYes: IQBFileStat reports the size. kNo: the interface is absent. kFail: Stat completes with kFailed.
  Stat stat = Stat::kYes;
  /// kLinear tells the plug-in that the file prefers front-to-back reading.
  Order order = Order::kRandom;
  /// Called for files on disk only.
  BlockReader::Observer onBlock = nullptr;
};

/// Number of operations on a file object since its creation.
struct FileCounts {
  std::uint64_t reads = 0;
  std::uint64_t seeks = 0;
  /// Bytes returned by reads.
  std::uint64_t bytes = 0;
};

class FileObject final : public ComObject<IQBSourceFile, IQBFileStat> {
 public:
  /// loop: runs the queued completions; must outlive the object. Throws HostError if the path is not a readable regular
  /// file or if the file is too large for 32-bit offsets.
  static ComPtr<FileObject> Open(const std::filesystem::path& path, FileOptions options, EventLoop& loop);

  /// reader: the source of the bytes.
  FileObject(BlockReader reader, FileOptions options, EventLoop& loop);

  /// Resets the position to 0. Ignores the flags: every file supports random access.
  Status Init(std::uint32_t flags, IQBFileResponse* response) override;
  /// Drops the pending completions. Init may open the object again.
  Status Close() override;
  Status Read(std::uint32_t count) override;
  /// Accepts every absolute offset. Relative offsets are not implemented because the plug-in never uses them.
  Status Seek(std::uint32_t offset, BOOL relative) override;
  Status SetAccessHint(std::uint32_t hint) override;

  Status Stat(IQBFileStatResponse* response) override;

  /// Returns the offset of the next read.
  std::uint64_t Position() const { return m_position; }
  const FileCounts& Counts() const { return m_counts; }
  std::uint64_t BlocksRead() const { return m_reader.BlocksRead(); }

 protected:
  /// Hides IQBFileStat when the options say so.
  void* FindInterface(const GUID& id) override;

 private:
  Status ReadBuffer(std::uint32_t count, ComPtr<Buffer>& buffer);

  /// Runs the completion inside the call, or queues it. The completion must keep the response object alive.
  template <typename Completion>
  Status Complete(Completion&& completion);

  // What every read needs comes first: a server has the objects of thousands of clients, and each read of another one
  // waits for each cache line that it touches.

  /// Null before Init and after Close. Completions share this pointer instead of adding a reference to the interface:
  /// that saves a virtual call and, in a process with one thread, an atomic operation.
  std::shared_ptr<ComPtr<IQBFileResponse>> m_response;
  std::uint64_t m_position = 0;
  FileCounts m_counts;
  BlockReader m_reader;
  const FileOptions m_options;
  /// Close increments it, so that completions queued before are recognised as stale.
  std::uint32_t m_session = 0;
  EventLoop& m_loop;
};

}  // namespace qbflv::host
