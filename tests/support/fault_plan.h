// What goes wrong in a scripted host: the n-th of the things that the library asks for.
#pragma once

#include <functional>
#include <set>
#include <utility>

#include "plugin/shell/host_interfaces.h"

namespace qbflv::test {

/// What the library asks of its host.
enum class Asked {
  kInterface,  ///< QueryInterface of the context and the file
  kObject,     ///< CreateInstance of the factory
  kSetProperty,
  kGetProperty,
  kFillBuffer,
  kBufferBytes,
  kFillPacket,
  kEndList,    ///< the last Release of a list, which cannot fail
  kEndPacket,  ///< the same of a packet
  kRequest,    ///< the request's headers and URL
  kPreference,
  kInit,
  kRead,
  kSeek,
  kStat,
  kHint,
  kClose,
};

enum class Failing {
  kNot,
  kRefuses,              ///< returns a failure and completes nothing
  kRefusesAndCompletes,  ///< returns a failure and completes all the same
  kCompletesWithFailure,
  kCompletesHalf,
  kCompletesEmpty,
  kNull,           ///< success without the object or the buffer
  kCompletesMore,  ///< more bytes than were asked for
  kNeverCompletes,
};

struct Fault {
  std::set<Asked> asked = {};
  Failing how = Failing::kNot;
  /// Which of the things in `asked`, counted from 1.
  int nth = 0;
  /// What a refusal returns.
  Status status = kOutOfMemory;
};

class FaultPlan {
 public:
  explicit FaultPlan(Fault fault) : m_fault(std::move(fault)), m_left(m_fault.nth) {}
  FaultPlan(const FaultPlan&) = delete;
  FaultPlan& operator=(const FaultPlan&) = delete;

  /// How the thing goes that the library asks for now.
  Failing Take(Asked asked) {
    if (m_isPaused || m_left == 0 || !m_fault.asked.contains(asked) || --m_left != 0) return Failing::kNot;
    m_hasStruck = true;
    return m_fault.how;
  }

  bool HasStruck() const { return m_hasStruck; }
  Failing How() const { return m_fault.how; }
  Status Refusal() const { return m_fault.status; }
  /// A further fault, in place of the first one.
  void Arm(Fault fault) {
    m_fault = std::move(fault);
    m_left = m_fault.nth;
  }

  /// While the host itself looks into its objects.
  void Pause(bool paused) { m_isPaused = paused; }

  /// Called whenever the library asks for something. An operation of the file has been issued then, and completed if it
  /// completes inline.
  void OnAsked(std::function<void(Asked)> listener) { m_listener = std::move(listener); }
  void Tell(Asked asked) const {
    // A copy: what the listener does may replace it.
    const std::function<void(Asked)> listener = m_listener;
    if (listener) listener(asked);
  }

  /// The host's objects that are alive.
  int objects = 0;

 private:
  Fault m_fault;
  int m_left;
  bool m_hasStruck = false;
  bool m_isPaused = false;
  std::function<void(Asked)> m_listener;
};

/// A member of each object of the host: counts it among the plan's objects.
class Counted {
 public:
  explicit Counted(FaultPlan& ofPlan) : plan(ofPlan) { ++plan.objects; }
  Counted(const Counted&) = delete;
  Counted& operator=(const Counted&) = delete;
  ~Counted() { --plan.objects; }

  FaultPlan& plan;
};

/// An operation of the host: does the work unless the plan has it fail.
template <typename Work>
Status Perform(FaultPlan& plan, Asked asked, Work work) {
  plan.Tell(asked);
  return plan.Take(asked) == Failing::kNot ? work() : plan.Refusal();
}

/// The same for one that returns an object.
template <typename Object, typename Work>
Status Return(FaultPlan& plan, Asked asked, Object** object, Work work) {
  plan.Tell(asked);
  const Failing how = plan.Take(asked);
  if (how == Failing::kNot) return work();
  *object = nullptr;
  return how == Failing::kNull ? kOk : plan.Refusal();
}

}  // namespace qbflv::test
