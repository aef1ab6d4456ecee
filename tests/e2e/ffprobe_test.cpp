// What qbflv says about the samples, held against an FLV reader that nobody here wrote.
#include <gtest/gtest.h>

#include <map>
#include <nlohmann/json.hpp>

#include "tests/e2e/command.h"
#include "tests/e2e/fixture.h"
#include "tests/e2e/flv_file.h"

namespace qbflv::e2e {
namespace {

using Json = nlohmann::json;

constexpr int kSoundFormatAac = 10;
constexpr int kCodecAvc = 7;

Json Probe(const char* what, const std::filesystem::path& path) {
  const CommandResult result =
      RunCommand({"ffprobe", "-v", "error", "-show_" + std::string(what), "-of", "json", path});
  EXPECT_EQ(result.status, 0) << result.err;
  return Json::parse(result.out).at(what);
}

struct Packet {
  std::int64_t time;
  std::size_t size;
  bool isKey;
  friend bool operator==(const Packet&, const Packet&) = default;
  friend std::ostream& operator<<(std::ostream& stream, const Packet& packet) {
    return stream << packet.time << " ms, " << packet.size << " bytes" << (packet.isKey ? ", key" : "");
  }
};

/// ffprobe's packets are the tag bodies without the bytes that tell the codec. Setup tags (AAC and AVC packet type 0)
/// and tags with nothing but those bytes (the end of an AVC sequence) are none of its packets.
std::size_t CodecBytes(const Tag& tag, bool& isListed) {
  const int first = static_cast<std::uint8_t>(tag.body[0]);
  const bool isAac = tag.type == kAudioTag && first >> 4 == kSoundFormatAac;
  const bool isAvc = tag.type == kVideoTag && (first & 0x0F) == kCodecAvc;
  const std::size_t count = isAvc ? 5 : isAac ? 2 : 1;
  isListed = tag.body.size() > count && !((isAac || isAvc) && tag.body[1] == 0);
  return count;
}

using PacketsByKind = std::map<std::string, std::vector<Packet>>;

PacketsByKind ProbedPackets(const std::filesystem::path& path) {
  PacketsByKind packets;
  for (const Json& packet : Probe("packets", path)) {
    packets[packet.at("codec_type")].push_back({packet.at("dts"), std::stoul(packet.at("size").get<std::string>()),
                                                packet.at("flags").get<std::string>()[0] == 'K'});
  }
  return packets;
}

PacketsByKind DeliveredPackets(const std::filesystem::path& path) {
  std::map<std::string, const Tag*> tagByChecksum;
  const FlvFile file = ParseFlv(ReadBytes(path));
  for (const Tag& tag : file.tags) {
    std::ostringstream checksum;
    checksum << std::hex << std::setw(8) << std::setfill('0') << tag.Checksum();
    tagByChecksum[checksum.str()] = &tag;
  }
  PacketsByKind packets;
  const CommandResult result = RunQbflv({"packets", "--json", path});
  EXPECT_EQ(result.status, 0) << result.err;
  for (const std::string& line : Lines(result.out)) {
    const Json packet = Json::parse(line);
    if (packet.contains("done")) continue;
    const auto tag = tagByChecksum.find(packet.at("crc32"));
    if (tag == tagByChecksum.end()) {
      ADD_FAILURE() << "no tag of the file is " << line;
      continue;
    }
    bool isListed = false;
    const std::size_t codecBytes = CodecBytes(*tag->second, isListed);
    if (!isListed) continue;
    packets[packet.at("stream") == 0 ? "audio" : "video"].push_back(
        {packet.at("time"), packet.at("size").get<std::size_t>() - codecBytes, packet.at("asm_flags") == 3});
  }
  return packets;
}

class Ffprobe : public testing::TestWithParam<const char*> {};

TEST_P(Ffprobe, ListsTheSamePackets) {
  const PacketsByKind probed = ProbedPackets(Sample(GetParam()));
  const PacketsByKind delivered = DeliveredPackets(Sample(GetParam()));
  for (const char* const kind : {"audio", "video"}) {
    SCOPED_TRACE(kind);
    ASSERT_TRUE(probed.contains(kind) && delivered.contains(kind));
    EXPECT_GT(probed.at(kind).size(), 90U);
    EXPECT_EQ(probed.at(kind), delivered.at(kind));
  }
}

TEST_P(Ffprobe, FindsTheSameStreamProperties) {
  const CommandResult result = RunQbflv({"info", "--json", Sample(GetParam())});
  ASSERT_EQ(result.status, 0) << result.err;
  const Json streams = Json::parse(result.out).at("streams");
  ASSERT_EQ(streams.size(), 2U);
  for (const Json& probed : Probe("streams", Sample(GetParam()))) {
    if (probed.at("codec_type") == "audio") {
      EXPECT_EQ(streams[0].at("SamplesPerSecond"), std::stoi(probed.at("sample_rate").get<std::string>()));
    } else {
      EXPECT_EQ(streams[1].at("Width"), probed.at("width"));
      EXPECT_EQ(streams[1].at("FrameHeight"), probed.at("height"));
    }
  }
}

INSTANTIATE_TEST_SUITE_P(Samples, Ffprobe, testing::Values("tour.flv", "sorenson.flv"),
                         [](const auto& sample) { return std::string(sample.param, std::strcspn(sample.param, ".")); });

}  // namespace
}  // namespace qbflv::e2e
