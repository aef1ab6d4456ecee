// Whose answer is whose, when a seek comes before the operation under way is answered.
#pragma once

#include <cstdint>
#include <utility>

#include "plugin/reader/reader_state.h"

namespace qbflv {

/// A completion does not say which operation it answers, but a file object answers those of one kind in the order in
/// which it was asked for them. So it is enough to count, for each kind, the answers that nobody waits for any more.
class CFileOperations {
 public:
  /// An operation is about to be asked for. The number is its own.
  std::uint32_t Begin(Completion kind) {
    m_waiting = kind;
    m_bDue = true;
    return ++m_ulNumber;
  }

  /// Takes the answer to the operation under way; false when it was taken before.
  bool TakeDue() { return std::exchange(m_bDue, false); }

  /// The file object refused it: no answer will come.
  void Refuse(Completion kind, std::uint32_t number) {
    if (number == m_ulNumber) {
      m_waiting = Completion::kNone;
    } else if (std::uint32_t& overtaken = Overtaken(kind); overtaken > 0) {
      --overtaken;
    }
  }

  /// An answer of that kind has come which is none of those that nobody waits for.
  void Answered(Completion kind, bool succeeded) {
    if (m_waiting == kind) m_waiting = Completion::kNone;
    if (kind == Completion::kSeek && succeeded) m_bFilePlaced = true;
  }

  /// Nobody waits for the operation under way any more. offset: the file's position once it is done, if it is a seek.
  void Overtake(std::uint32_t offset) {
    if (m_waiting == Completion::kNone) return;
    if (m_waiting == Completion::kSeek) m_ulOvertakenOffset = offset;
    ++Overtaken(m_waiting);
    m_waiting = Completion::kNone;
    m_bFilePlaced = false;
  }

  [[nodiscard]] bool IsWaiting() const { return m_waiting != Completion::kNone; }

  /// Whether an answer of that kind, which has just come, is one that nobody waits for.
  bool TakeOvertaken(Completion kind) {
    std::uint32_t& overtaken = Overtaken(kind);
    if (overtaken == 0) return false;
    --overtaken;
    return true;
  }

  /// Whether a seek has succeeded since the last operation was overtaken. Until then the file stands where those that
  /// were overtaken lead, also if the seek fails.
  [[nodiscard]] bool IsFilePlaced() const { return m_bFilePlaced; }
  /// Where the last seek that was overtaken leads.
  [[nodiscard]] std::uint32_t GetOvertakenOffset() const { return m_ulOvertakenOffset; }

 private:
  std::uint32_t& Overtaken(Completion kind) { return m_overtaken[static_cast<std::uint8_t>(kind)]; }

  Completion m_waiting = Completion::kNone;
  std::uint32_t m_ulNumber = 0;
  std::uint32_t m_ulOvertakenOffset = 0;
  bool m_bFilePlaced = true;
  /// The operation that was begun last has not been answered, though it may have been refused.
  bool m_bDue = false;
  std::uint32_t m_overtaken[kCompletionKinds] = {};
};

}  // namespace qbflv
