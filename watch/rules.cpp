// The rules of the contract that the watch layer checks.
#include "watch/rules.h"

#include <array>

namespace qbflv::watch {

namespace {

/// In the order of Rule.
constexpr std::array<RuleText, kRuleCount> kTexts = {{
    {"completed-twice", "A file object completes every operation exactly once."},
    {"not-requested", "A file object completes only operations that were started."},
    {"out-of-order", "A file object completes the operations of one kind in the order of their calls."},
    {"never-completed",
     "A file object completes every operation that it accepted. Reported when the host closes after 10 s of waiting."},
    {"wrong-object", "An operation is completed on the response object that Init of its file received last."},
    {"completed-after-close", "After Close a file object completes only operations that were pending."},
    {"read-too-long", "A read completes with at most the bytes that were requested."},
    {"read-without-buffer", "A successful read completes with a buffer, also if it has no bytes."},
    {"size-wraps", "Stat reports the size of the whole file; files of 4 GiB or more have none."},
    {"file-shared", "A file object serves one file-format object at a time."},
    {"buffer-changed", "The bytes and the size of a buffer do not change while the object holds it."},
    {"buffer-without-bytes", "A buffer of a size other than 0 has bytes."},
    {"list-changed", "The values of a property list do not change while the object holds it."},
    {"packet-changed", "A packet returns what Set stored."},
    {"packet-kept", "The host releases the packets that it kept before it releases the object."},
    {"call-from-data", "The operations of buffers, packets and property lists never call the object."},
    {"success-without-object", "A call that returns a success stores the object that it is to return."},
    {"returned-without-reference", "An object that a call returns carries one reference for the caller."},
    {"instance-not-empty", "The factory creates new, empty objects."},
    {"unknown-status", "The host passes and returns the statuses of this guide."},
    {"wrong-state", "A request is made only in a state that allows it."},
    {"packet-requested-twice", "A stream has one pending GetPacket at a time."},
    {"unknown-stream", "Stream numbers are less than \"StreamCount\"."},
    {"null-argument", "The context, the request, the sink, the file and the out pointers of queries are not null."},
    {"time-wraps", "The time of a seek is in ms, is not negative, and is less than 2^31."},
    {"two-threads", "Calls into one object do not overlap in two threads."},
    {"released-too-often", "The host releases a reference once."},
    {"used-after-release", "The host calls an object of the plug-in only while it has a reference to it."},
    {"never-released", "The host releases every reference before it unloads the library."},
}};

}  // namespace

const RuleText& Text(Rule rule) { return kTexts[static_cast<std::size_t>(rule)]; }

}  // namespace qbflv::watch
