// A host that fails at one thing, the n-th of those that a plan counts, and that tells whenever it is asked for one.
#pragma once

#include <cstdint>
#include <deque>
#include <functional>
#include <set>
#include <string>
#include <utility>

#include "host/com_object.h"
#include "host/property_list.h"
#include "tests/support/call_log.h"
#include "tests/support/flv_builder.h"

namespace qbflv::test {

/// What the library asks of its host.
enum class Asked {
  kInterface,  ///< of the context and the file
  kObject,     ///< of the factory
  kSetProperty,
  kGetProperty,
  kFillBuffer,
  kBufferBytes,
  kFillPacket,
  kRequest,  ///< headers and URL
  kPreference,
  kInit,
  kRead,
  kSeek,
  kStat,
  kHint,
  kClose,
};

/// How it goes wrong.
enum class Failing {
  kNot,
  kRefuses,            ///< a failure at once, and nothing more
  kRefusesAndAnswers,  ///< a failure at once, and the answer all the same
  kAnswersFailure,
  kAnswersHalf,
  kAnswersEmpty,
  kAnswersNull,  ///< success, without the object or the buffer
  kAnswersMore,  ///< more bytes than were asked for
  kNeverAnswers,
};

class FaultPlan {
 public:
  /// The nth, counted from 1, of the things in asked fails in that way.
  FaultPlan(std::set<Asked> asked, Failing how, int nth) : m_asked(std::move(asked)), m_how(how), m_left(nth) {}

  /// How the thing goes that is being asked for.
  Failing Take(Asked asked) {
    if (m_isPaused || !m_asked.contains(asked) || --m_left != 0) return Failing::kNot;
    return m_how;
  }

  bool Struck() const { return m_left <= 0; }
  Failing How() const { return m_how; }
  /// While the host uses its own objects.
  void Pause(bool paused) { m_isPaused = paused; }

  /// Called whenever the library asks for something; an operation of the file has then been taken up, and answered if
  /// it is answered inline.
  void OnAsked(std::function<void(Asked)> listener) { m_listener = std::move(listener); }
  void Tell(Asked asked) const {
    if (m_listener && !m_isPaused) m_listener(asked);
  }

  /// Objects of this host that are alive.
  int objects = 0;
  /// The file's operations, and what the test adds.
  CallLog log;

 private:
  const std::set<Asked> m_asked;
  const Failing m_how;
  int m_left;
  bool m_isPaused = false;
  std::function<void(Asked)> m_listener;
};

/// The context: with a factory and preferences of its own.
ComPtr<IUnknown> MakeFaultyContext(FaultPlan& plan);

ComPtr<IQBRequest> MakeFaultyRequest(FaultPlan& plan);

/// A file in memory.
class FaultyFile final : public host::ComObject<IQBSourceFile, IQBFileStat> {
 public:
  FaultyFile(FaultPlan& plan, Bytes bytes, bool answersInline)
      : m_plan(plan), m_bytes(std::move(bytes)), m_answersInline(answersInline) {}

  Status QueryInterface(const GUID& id, void** object) override;

  Status Init(std::uint32_t flags, IQBFileResponse* response) override;
  Status Close() override;
  Status Read(std::uint32_t count) override;
  Status Seek(std::uint32_t offset, BOOL relative) override;
  Status SetAccessHint(std::uint32_t hint) override;
  Status Stat(IQBFileStatResponse* response) override;

  /// Gives the oldest answer that waits; false when there is none.
  bool Answer();
  /// Drops them.
  void DropAnswers() { m_waiting.clear(); }
  std::uint64_t Operations() const { return m_operations; }

 private:
  Status Settle(Asked asked, const std::function<void(Failing)>& answer);
  ComPtr<IQBBuffer> Cut(std::uint32_t count);

  FaultPlan& m_plan;
  const Bytes m_bytes;
  const bool m_answersInline;
  ComPtr<IQBFileResponse> m_response;
  std::uint64_t m_position = 0;
  std::uint64_t m_operations = 0;
  std::deque<std::function<void()>> m_waiting;
};

}  // namespace qbflv::test
