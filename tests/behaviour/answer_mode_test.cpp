// The same script of calls gives the same log of file operations and sink calls, however the host answers.
#include <gtest/gtest.h>

#include "tests/support/scripted_host.h"

namespace qbflv::test {
namespace {

struct Session {
  const char* name;
  FileScript file;
};

/// Sessions that take every road: whole ones, broken ones, and each operation failing in turn.
std::vector<Session> Sessions() {
  FlvBuilder described(kBoth);
  for (std::uint32_t time = 0; time <= 8000; time += 500) described.Audio(time, 101).Video(time, 50, time % 2000 == 0);
  FlvBuilder circles = SmallFile();
  circles.Patch(circles.Field(5), 0xFFFFFFFC);
  const Bytes small = SmallFile().File();
  const Bytes cut(small.begin(), small.end() - 9);
  std::vector<Session> sessions{
      {"small", {.bytes = small}},
      {"described by its tags", {.bytes = described.File()}},
      {"front to back", {.bytes = described.File(), .accessHint = kPrefersLinearAccess}},
      {"no stat", {.bytes = small, .stat = Stat::kAbsent}},
      {"failed stat", {.bytes = small, .stat = Stat::kFailing}},
      {"fails at the end", {.bytes = described.File(), .stat = Stat::kAbsent, .failsAtEnd = true}},
      {"cut", {.bytes = cut}},
      {"circles", {.bytes = circles.File()}},
      {"later tags", {.bytes = FlvBuilder(kVideo, 20).Video(0, 20).Video(1000, 20).File()}},
      {"nothing", {.bytes = {}}}};
  // The operations of the small file, the n-th of which fails.
  ScriptedHost host({.file = {.bytes = small}});
  host.Play();
  std::map<std::string, int> seen;
  for (const std::string& line : host.log.Only({"Init(", "Seek(", "Read("})) {
    sessions.push_back({"small, one failure", {.bytes = small, .rules = {{line, ++seen[line], kFailed}}}});
  }
  return sessions;
}

CallLog::Lines LogOf(FileScript file, Answers answers, bool nested) {
  file.answers = answers;
  ScriptedHost host({.file = std::move(file)});
  nested ? host.PlayNested() : host.Play();
  return host.log.All();
}

TEST(AnswerModes, GiveTheSameLog) {
  for (const Session& session : Sessions()) {
    const std::string rule = session.file.rules.empty() ? "" : ", " + session.file.rules[0].operation;
    const CallLog::Lines inlined = LogOf(session.file, Answers::kInline, false);
    EXPECT_GE(inlined.size(), 2u) << session.name << rule;
    EXPECT_EQ(inlined, LogOf(session.file, Answers::kLater, false)) << session.name << rule;
  }
}

TEST(AnswerModes, WithRequestsInsideTheSinkCalls_GiveTheSameLog) {
  for (const Session& session : Sessions()) {
    const std::string rule = session.file.rules.empty() ? "" : ", " + session.file.rules[0].operation;
    const CallLog::Lines inlined = LogOf(session.file, Answers::kInline, true);
    EXPECT_GE(inlined.size(), 2u) << session.name << rule;
    EXPECT_EQ(inlined, LogOf(session.file, Answers::kLater, true)) << session.name << rule;
  }
}

TEST(AnswerModes, WithRequestsInsideTheSinkCalls_PlayTheWholeFile) {
  EXPECT_EQ(LogOf({.bytes = SmallFile().File()}, Answers::kLater, false),
            LogOf({.bytes = SmallFile().File()}, Answers::kInline, true));
}

}  // namespace
}  // namespace qbflv::test
