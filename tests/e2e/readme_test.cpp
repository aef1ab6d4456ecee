// The README's sample output is the output of the command.
#include <gtest/gtest.h>

#include <algorithm>

#include "tests/e2e/command.h"
#include "tests/e2e/fixture.h"
#include "tests/e2e/flv_file.h"

namespace qbflv::e2e {
namespace {

TEST(Readme, SampleOutput_IsWhatTheCommandPrints) {
  std::vector<std::string> printed;
  for (const Words& words : {Words{"info"}, Words{"packets", "--limit", "20"}, Words{"packets", "--count"}}) {
    const std::vector<std::string> lines = Lines(RunQbflv(words + Words{Sample("tour.flv")}).out);
    printed.insert(printed.end(), lines.begin(), lines.end());
  }
  const std::vector<std::string> readme = Lines(ReadBytes(Sample("../README.md")));
  // Dots stand for the rest of a line and for omitted lines.
  auto line = std::ranges::find(readme, "Plug-in");
  auto next = printed.begin();
  for (; line < readme.end() && *line != "```"; ++line) {
    const bool isCut = line->ends_with("...");
    const std::string start = isCut ? line->substr(0, line->size() - 3) : *line;
    next = std::find_if(next, printed.end(),
                        [&](const std::string& l) { return isCut ? l.starts_with(start) : l == start; });
    ASSERT_NE(next, printed.end()) << "not printed, or not in this order: " << *line;
    ++next;
  }
  EXPECT_GT(next - printed.begin(), 30);
}

}  // namespace
}  // namespace qbflv::e2e
