// An independent FLV reader finds in the samples what the tests' own reading and `qbflv info` find. The listings are
// compared with the tests' own reading.
#include <gtest/gtest.h>

#include <nlohmann/json.hpp>
#include <tuple>

#include "tests/e2e/command.h"
#include "tests/e2e/fixture.h"
#include "tests/e2e/flv_file.h"

namespace qbflv::e2e {
namespace {

using Json = nlohmann::json;

Json Probe(const std::string& what, const std::filesystem::path& path) {
  const CommandResult result = RunCommand({"ffprobe", "-v", "error", "-show_" + what, "-of", "json", path});
  EXPECT_EQ(result.status, 0) << result.err;
  return Json::parse(result.out).at(what);
}

/// Time, size, and whether it is a key frame.
using Packet = std::tuple<std::int64_t, std::size_t, bool>;

std::vector<Packet> ProbedPackets(const Json& packets, const char* kind) {
  std::vector<Packet> probed;
  for (const Json& packet : packets) {
    if (packet.at("codec_type") != kind) continue;
    const bool isKey = packet.at("flags").get<std::string>()[0] == 'K';
    probed.emplace_back(packet.at("dts"), std::stoul(packet.at("size").get<std::string>()), isKey);
  }
  return probed;
}

/// ffprobe's packets are the tag bodies without the bytes that tell the codec. Setup tags (AAC and AVC packet type 0)
/// and tags with nothing but those bytes (the end of an AVC sequence) are none of its packets.
std::vector<Packet> ReadPackets(const FlvFile& file, std::uint8_t type) {
  std::vector<Packet> read;
  for (const Tag& tag : file.TagsOfType(type)) {
    const std::size_t codecBytes = tag.IsAvc() ? 5 : tag.IsAac() ? 2 : 1;
    if (tag.body.size() <= codecBytes || tag.IsConfiguration()) continue;
    read.emplace_back(tag.time, tag.body.size() - codecBytes, type == kAudioTag || tag.IsKeyFrame());
  }
  return read;
}

TEST(Ffprobe, OfTheSamples_ListsTheSamePacketsAndStreams) {
  for (const std::filesystem::path& sample : {Sample("tour.flv"), Sample("sorenson.flv")}) {
    SCOPED_TRACE(sample);
    const FlvFile file = ParseFlv(ReadBytes(sample));
    const Json packets = Probe("packets", sample);
    EXPECT_GT(packets.size(), 180U);
    EXPECT_EQ(ProbedPackets(packets, "audio"), ReadPackets(file, kAudioTag));
    EXPECT_EQ(ProbedPackets(packets, "video"), ReadPackets(file, kVideoTag));

    const Json streams = Json::parse(RunQbflv({"info", "--json", sample}).out).at("streams");
    for (const Json& probed : Probe("streams", sample)) {
      if (probed.at("codec_type") == "audio") {
        EXPECT_EQ(streams.at(0).at("SamplesPerSecond"), std::stoi(probed.at("sample_rate").get<std::string>()));
      } else {
        EXPECT_EQ(streams.at(1).at("Width"), probed.at("width"));
        EXPECT_EQ(streams.at(1).at("FrameHeight"), probed.at("height"));
      }
    }
  }
}

}  // namespace
}  // namespace qbflv::e2e
