// Playing and seeking random files in random order, held against a plain model call by call. The operations of a seek
// show what the index holds. QBFLV_MODEL_CASES tells how many cases are tried, QBFLV_MODEL_SEED the first one's seed.
#include <fmt/format.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <cstdlib>

#include "tests/support/random_flv.h"
#include "tests/support/session_model.h"

namespace qbflv::test {
namespace {

CallLog::Lines Perform(ScriptedHost& host, const RandomCase& c, const RandomRequest& request) {
  using Then = RandomRequest::Then;
  host.log.Clear();
  std::uint32_t packets = 0;
  bool hasSeeked = false;
  host.OnSinkCall([&](const host::SinkEvent& event) {
    if (event.kind != host::SinkEvent::Kind::kPacketReady || hasSeeked) return;
    ++packets;
    if (request.then == Then::kSeekInsidePacket && packets == request.after) {
      hasSeeked = true;
      static_cast<void>(host.format->Seek(request.thenTime));
    } else if (packets < request.packets) {
      static_cast<void>(host.format->GetPacket(event.stream));
    }
  });
  const bool stops = request.then == Then::kSeekAfterAnswers && c.answers == Answers::kLater;
  if (request.kind == RandomRequest::Kind::kSeek) {
    static_cast<void>(host.Seek(request.time));
  } else {
    for (std::uint16_t stream = 0; stream < host.StreamCount(); ++stream) {
      if (Failed(host.GetPacket(stream))) host.log.Add(fmt::format("refused s={}", stream));
      if (!stops) host.Pump();
    }
  }
  if (stops) {
    for (std::uint32_t i = 0; i < request.after && host.file->Waiting() > 0; ++i) host.file->Answer();
  } else {
    host.Pump();
  }
  if (request.then == Then::kSeekAfterAnswers) static_cast<void>(host.Seek(request.thenTime));
  host.Pump();
  host.OnSinkCall(nullptr);
  return host.log.All();
}

/// The lines from a little before the first that differs.
std::string Excerpt(const CallLog::Lines& lines, std::size_t differs) {
  const std::size_t first = differs > 6 ? differs - 6 : 0;
  std::string text = first > 0 ? fmt::format("  ({} lines)\n", first) : "";
  for (std::size_t i = first; i < lines.size() && i < differs + 8; ++i) {
    text += fmt::format("{} {}\n", i == differs ? " >" : "  ", lines[i]);
  }
  return lines.size() <= differs ? text + " > nothing more\n" : text;
}

/// What is not as the model has it; empty if nothing.
std::string Difference(const RandomCase& c) {
  const FlvBuilder flv = Build(c);
  ScriptedHost host(Script(c, flv));
  if (!host.ReadHeaders()) return "The headers do not come.";
  host.AnswerByHand();
  SessionModel model(c, flv);
  for (std::size_t i = 0; i < c.requests.size(); ++i) {
    const CallLog::Lines expected = model.Perform(c.requests[i]);
    const CallLog::Lines got = Perform(host, c, c.requests[i]);
    if (expected == got) continue;
    const auto differs = static_cast<std::size_t>(
        std::mismatch(expected.begin(), expected.end(), got.begin(), got.end()).first - expected.begin());
    return fmt::format("request {}\nexpected:\n{}got:\n{}", i + 1, Excerpt(expected, differs), Excerpt(got, differs));
  }
  return {};
}

RandomCase Reduced(RandomCase c) {
  for (bool isReduced = true; isReduced;) {
    isReduced = false;
    for (const RandomCase& simpler : Simpler(c)) {
      if (!IsWellFormed(simpler) || Difference(simpler).empty()) continue;
      c = simpler;
      isReduced = true;
      break;
    }
  }
  return c;
}

std::uint64_t Setting(const char* name, std::uint64_t otherwise) {
  const char* const text = std::getenv(name);
  return text == nullptr ? otherwise : std::strtoull(text, nullptr, 10);
}

TEST(RandomSession, OfPlayingAndSeeking_IsServedAsTheModelHasIt) {
  const char* const single = std::getenv("QBFLV_MODEL_SEED");
  const std::uint64_t first = Setting("QBFLV_MODEL_SEED", 1);
  const std::uint64_t cases = Setting("QBFLV_MODEL_CASES", single == nullptr ? 300 : 1);
  fmt::print("seeds {} to {}\n", first, first + cases - 1);
  for (std::uint64_t seed = first; seed < first + cases; ++seed) {
    const RandomCase c = MakeRandomCase(seed);
    if (Difference(c).empty()) continue;
    const RandomCase reduced = Reduced(c);
    FAIL() << "seed " << seed << ", reduced:\n" << Describe(reduced) << Difference(reduced);
  }
}

}  // namespace
}  // namespace qbflv::test
