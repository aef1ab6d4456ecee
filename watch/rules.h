// The rules of the contract that the watch layer checks. docs/host-guide.md lists them by name.
#pragma once

#include <cstddef>

namespace qbflv::watch {

enum class Rule {
  // The file object
  kCompletedTwice,
  kNotRequested,
  kOutOfOrder,
  kNeverCompleted,
  kWrongObject,
  kCompletedAfterClose,
  kReadTooLong,
  kReadWithoutBuffer,
  kSizeWraps,
  kFileShared,
  // Buffers, packets, lists and the other objects of the host
  kBufferChanged,
  kBufferWithoutBytes,
  kListChanged,
  kPacketChanged,
  kPacketKept,
  kCallFromData,
  kSuccessWithoutObject,
  kReturnedWithoutReference,
  kInstanceNotEmpty,
  kUnknownStatus,
  // Requests
  kWrongState,
  kPacketRequestedTwice,
  kUnknownStream,
  kNullArgument,
  kTimeWraps,
  kTwoThreads,
  // References to objects of the plug-in
  kReleasedTooOften,
  kUsedAfterRelease,
  kNeverReleased,
  kCount
};

struct RuleText {
  const char* name;
  const char* sentence;
};

const RuleText& Text(Rule rule);

inline constexpr auto kRuleCount = static_cast<std::size_t>(Rule::kCount);

}  // namespace qbflv::watch
