// Any FLV files that one has at hand: qbflv must deal with each in every host mode, and deliver only what is in it.
#include <gtest/gtest.h>

#include <cstdlib>
#include <set>

#include "tests/e2e/command.h"
#include "tests/e2e/expected_listing.h"
#include "tests/e2e/fixture.h"
#include "tests/e2e/flv_file.h"
#include "tests/e2e/host_mode.h"

namespace qbflv::e2e {
namespace {

void ExpectOnlyTagsOf(const FlvFile& file, const std::string& listing) {
  std::multiset<std::string> known;
  for (const Tag& tag : file.tags) {
    if (tag.IsMedia() && !tag.body.empty()) known.insert(PacketLine(file, tag));
  }
  for (const std::string& line : Lines(listing)) {
    if (line.ends_with("\"done\":true}")) continue;
    const auto found = known.find(line);
    ASSERT_NE(found, known.end()) << "more often than in the file: " << line;
    known.erase(found);
  }
}

TEST(MoreSamples, InEveryHostMode_GiveTheSameInlineAndQueuedAndOnlyTheirOwnTags) {
  const char* const folder = std::getenv("QBFLV_MORE_SAMPLES");
  if (folder == nullptr) GTEST_SKIP() << "QBFLV_MORE_SAMPLES names no folder with FLV files";
  int count = 0;
  for (const auto& entry : std::filesystem::directory_iterator(folder)) {
    if (entry.path().extension() != ".flv") continue;
    ++count;
    const FlvFile file = ParseFlv(ReadBytes(entry.path()));
    for (const HostMode& mode : AllHostModes()) {
      for (const char* const command : {"info", "packets"}) {
        SCOPED_TRACE(entry.path().string() + ", " + command + ", " + mode.Name());
        const Words words = Words{command, "--json", entry.path()} + mode.Options();
        const CommandResult result = RunQbflv(words);
        EXPECT_EQ(result, RunQbflv(words + Words{"--host-io", "queued"}));
        EXPECT_EQ(result.status, result.err.empty() ? 0 : 1) << result.err;
        EXPECT_LE(Lines(result.err).size(), 1U) << result.err;
        if (command == std::string("packets")) ExpectOnlyTagsOf(file, result.out);
      }
    }
  }
  EXPECT_GT(count, 0) << "no FLV file in " << folder;
}

}  // namespace
}  // namespace qbflv::e2e
