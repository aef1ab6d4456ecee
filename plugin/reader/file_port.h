// The reader's side of the host's file object: issues operations, matches completions to them, tracks the position.
#pragma once

#include <cstdint>

#include "plugin/reader/file_completion.h"
#include "plugin/reader/file_response.h"
#include "plugin/reader/superseded_operations.h"
#include "plugin/shell/host_interfaces.h"
#include "plugin/util/com_ptr.h"

namespace qbflv {

/// The last offset that the interfaces can express.
inline constexpr std::uint32_t kLastOffset = 0xFFFFFFFF;

/// At most one operation is pending. Seek may supersede it; its completion is then stale: it has no effect but on the
/// position.
///
/// A file object may complete an operation, and call back into its user, inside every call that issues one.
class CFilePort {
 public:
  /// The host's references, for a caller that releases them when its own state is consistent.
  struct Released {
    ComPtr<IQBFileStat> stat;
    ComPtr<IQBSourceFile> file;
  };

  /// Starts on a file object; completions go to receiver. kOutOfMemory leaves a file object without operations.
  [[nodiscard]] Status Attach(IQBSourceFile* file, CFileCompletions* receiver);
  /// Ends with the file object: late completions have no effect. The response object is kept until the next Attach, for
  /// a file object that did not add its reference.
  [[nodiscard]] Released Detach();
  [[nodiscard]] bool IsAttached() const { return static_cast<bool>(m_pFileObject); }

  // Each issues one operation and returns what the file object's call returned.

  Status Init();
  Status Read(std::uint32_t size);
  Status Seek(std::uint32_t offset);
  /// Needs a stat interface, see QueryStat.
  Status Stat();

  /// Asks the file object for its stat interface. May call back. False when it has none.
  [[nodiscard]] bool QueryStat();
  /// Announces random access. True when the file object prefers front-to-back reading. May call back.
  [[nodiscard]] bool PrefersLinearAccess();

  /// Matches a completion to the pending operation and updates the position, which also unexpected completions move.
  /// Keeps the file size of a stat. False when the completion is stale or unexpected.
  [[nodiscard]] bool Accept(Operation operation, Status status, IQBBuffer* buffer, std::uint32_t fileSize);
  /// The pending operation has not been completed, and the file object refused it.
  [[nodiscard]] bool IsRefused() const { return m_Pending.operation != Operation::kNone && m_Pending.refused; }
  /// The pending operation's completion only moves the position from now on.
  void Abandon() { m_Pending.abandoned = true; }
  /// Makes place for another operation while one may be pending. False, with nothing changed, on allocation failure.
  [[nodiscard]] bool Supersede();

  /// Position in bytes.
  [[nodiscard]] std::uint32_t GetOffset() const { return m_ulFileOffset; }
  /// Position before the last read.
  [[nodiscard]] std::uint32_t GetReadOffset() const { return m_ulReadOffset; }
  /// Byte count of the last read issued.
  [[nodiscard]] std::uint32_t GetReadSize() const { return m_ulReadSize; }
  /// Reads have passed the last 32-bit offset since the last seek.
  [[nodiscard]] bool IsOffsetWrapped() const { return m_bOffsetWrapped; }

  /// A stat has succeeded.
  [[nodiscard]] bool IsFileSizeKnown() const { return m_bFileSizeKnown; }
  /// In bytes; 0 when not known.
  [[nodiscard]] std::uint32_t GetFileSize() const { return m_ulFileSize; }

 private:
  template <typename Call>
  Status Issue(const IssuedOperation& operation, Call&& call);
  void Move(Operation operation, IQBBuffer* buffer, std::uint32_t seekTarget);

  ComPtr<IQBSourceFile> m_pFileObject;
  IssuedOperation m_Pending;
  std::uint32_t m_ulSerial = 0;
  std::uint32_t m_ulFileOffset = 0;
  std::uint32_t m_ulReadOffset = 0;
  std::uint32_t m_ulReadSize = 0;
  std::uint32_t m_ulSeekOffset = 0;
  bool m_bOffsetWrapped = false;
  /// A seek has succeeded since the last operation was superseded. Until then stale completions tell the position.
  bool m_bPositioned = true;
  bool m_bFileSizeKnown = false;
  CSupersededOperations m_Superseded;
  std::uint32_t m_ulFileSize = 0;
  ComPtr<IQBFileStat> m_pFileStat;
  ComPtr<CFileResponse> m_pFileResponse;
};

}  // namespace qbflv
