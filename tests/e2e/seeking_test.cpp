// `qbflv seek`.
#include <gtest/gtest.h>

#include <nlohmann/json.hpp>
#include <optional>

#include "tests/e2e/command.h"
#include "tests/e2e/fixture.h"
#include "tests/e2e/flv_file.h"

namespace qbflv::e2e {
namespace {

using Json = nlohmann::json;

TEST(SeekCommand, OnTheSamples_RestartsAtAKeyFrame) {
  for (const char* const sample : {"tour.flv", "sorenson.flv"}) {
    const FlvFile file = ParseFlv(ReadBytes(Sample(sample)));
    const CommandResult result = RunQbflv({"seek", "--json", Sample(sample), "0", "1500", "3000", "7000"});
    ASSERT_EQ(result.status, 0) << result.err;
    ASSERT_EQ(Lines(result.out).size(), 4U);
    for (const std::string& text : Lines(result.out)) {
      SCOPED_TRACE(text);
      const Json line = Json::parse(text);
      // The last one before the time, or else the first.
      std::optional<std::uint32_t> keyTime;
      for (const Tag& tag : file.tags) {
        if (tag.IsKeyFrame() && (!keyTime || tag.time < line.at("seek"))) keyTime = tag.time;
      }
      EXPECT_EQ(line.at("first").at(1).at("time"), keyTime.value());
      EXPECT_EQ(line.at("first").at(1).at("asm_flags"), 3) << "a key frame";
      EXPECT_EQ(line.at("status"), "0x00000000");
      EXPECT_EQ(line.at("seeks"), line.at("reads").get<int>() + 1) << "one more, to the place itself";
    }
  }
}

TEST(SeekCommand, ThatFails_ShowsTheStatusAndTriesTheOtherTimes) {
  const TemporaryFolder folder;
  const std::string bytes = ReadBytes(Sample("tour.flv"));
  // Without the last size nothing can be read after the last tag.
  const auto cut = folder.Write("cut.flv", bytes.substr(0, bytes.size() - 4));
  const CommandResult result = RunQbflv({"seek", "--json", "--host-eof", "fail", cut, "99999999", "3000"});
  EXPECT_EQ(result.status, 1);
  EXPECT_NE(result.err.find("99999999 ms: 0x80004005"), std::string::npos) << result.err;
  const std::vector<std::string> lines = Lines(result.out);
  ASSERT_EQ(lines.size(), 2U);
  EXPECT_EQ(Json::parse(lines[0]).at("status"), "0x80004005");
  EXPECT_EQ(Json::parse(lines[0]).at("first"), Json::array());
  EXPECT_EQ(Json::parse(lines[1]).at("first")[1].at("time"), 2000);
}

}  // namespace
}  // namespace qbflv::e2e
