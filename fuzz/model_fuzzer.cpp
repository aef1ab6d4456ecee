// Plays and seeks random files, one after another on the same object, and compares every file operation and sink call
// with a simple model. The operations of a seek show the content of the seek index.
#include <fmt/format.h>

#include <algorithm>
#include <string>

#include "fuzz/target.h"
#include "tests/support/random_case.h"
#include "tests/support/session_model.h"

namespace qbflv::fuzz {
namespace {

using Lines = test::CallLog::Lines;

Lines Perform(test::ScriptedHost& host, const test::RandomCase& c, const test::RandomRequest& request) {
  using Then = test::RandomRequest::Then;
  host.log.Clear();
  std::uint32_t packets = 0;
  bool hasSought = false;
  host.OnSinkCall([&](const host::SinkEvent& event) {
    if (event.kind != host::SinkEvent::Kind::kPacketReady || hasSought) return;
    ++packets;
    if (request.then == Then::kSeekInsidePacket && packets == request.after) {
      hasSought = true;
      host.Seek(request.thenTime);
    } else if (packets < request.packets) {
      host.GetPacket(event.stream);
    }
  });
  const bool stops = request.then == Then::kSeekAfterCompletions && c.file.completes == test::Completes::kLater;
  if (request.kind == test::RandomRequest::Kind::kSeek) {
    host.Seek(request.time);
  } else {
    for (std::uint16_t stream = 0; stream < host.StreamCount(); ++stream) {
      if (Failed(host.GetPacket(stream))) host.log.Add(fmt::format("refused s={}", stream));
      if (!stops) host.Pump();
    }
  }
  if (stops) {
    for (std::uint32_t i = 0; i < request.after && host.file->Pending() > 0; ++i) host.file->Complete();
  } else {
    host.Pump();
  }
  if (request.then == Then::kSeekAfterCompletions) host.Seek(request.thenTime);
  host.Pump();
  host.OnSinkCall(nullptr);
  return host.log.All();
}

/// Returns the lines around the first one that differs.
std::string Excerpt(const Lines& lines, std::size_t differs) {
  const std::size_t first = differs > 6 ? differs - 6 : 0;
  std::string text;
  for (std::size_t i = first; i < lines.size() && i < differs + 8; ++i) {
    text += fmt::format("{} {}\n", i == differs ? " >" : "  ", lines[i]);
  }
  return lines.size() <= differs ? text + " > nothing more\n" : text;
}

/// Returns the first difference between the session and the model, or an empty text.
std::string Difference(test::ScriptedHost& host, const test::RandomCase& c, const test::FlvBuilder& flv) {
  test::SessionModel model(c, flv);
  for (const test::RandomRequest& request : c.requests) {
    const Lines expected = model.Perform(request);
    const Lines got = Perform(host, c, request);
    if (expected == got) continue;
    const auto differs = static_cast<std::size_t>(
        std::mismatch(expected.begin(), expected.end(), got.begin(), got.end()).first - expected.begin());
    return fmt::format("{}\nrequest {}\nexpected:\n{}got:\n{}", test::Describe(c), &request - c.requests.data() + 1,
                       Excerpt(expected, differs), Excerpt(got, differs));
  }
  return {};
}

}  // namespace

void TryModel(Input input) {
  test::Decisions dice(input);
  const std::uint32_t files = 1 + dice.Below(3);
  test::RandomCase c = test::MakeRandomCase(dice);
  test::ScriptedHost host(test::Script(c, test::Build(c)));
  for (std::uint32_t file = 1;; ++file) {
    const test::FlvBuilder flv = test::Build(c);
    host.CompleteByHand(false);
    Require(host.ReadHeaders(), "the headers are delivered");
    host.CompleteByHand();
    const std::string difference = Difference(host, c, flv);
    Require(difference.empty(), difference.c_str());
    Require(host.Unasked().empty(), "every sink call was requested");
    if (file == files) return;

    const test::RandomCase before = std::exchange(c, test::MakeRandomCase(dice));
    if (dice.OneIn(3)) host.Close();
    const test::HostScript script = test::Script(c, test::Build(c));
    host.UseFile(script.file);
    host.UseRequest(script.url);
    // The host's preferences stay, and so does "ProcessTimeUnits" of an earlier URL until another URL sets it.
    c.disableThumbnails = before.disableThumbnails;
    c.maxTimespan = before.maxTimespan;
    if (c.processTimeUnits == 0) c.processTimeUnits = before.processTimeUnits;
  }
}

}  // namespace qbflv::fuzz
