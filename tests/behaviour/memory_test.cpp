// The library's memory and the host's objects: what is taken is given back, and a shortage at any point does no harm.
#include <gtest/gtest.h>

#include "tests/support/library_heap.h"
#include "tests/support/scripted_host.h"

namespace qbflv::test {
namespace {

/// A file and settings that make the library take every kind of memory it has.
HostScript Rich() {
  FlvBuilder flv(kBoth);
  const Bytes nested = amf::Object({{"a", amf::Array({amf::String("b"), amf::Object({{"c", amf::Number(1)}})})}});
  flv.Metadata(QuickMetadata({{"title", amf::String("T")},
                              {"creator", amf::String("C")},
                              {"deep", nested},
                              {"keyframes", amf::KeyFrames({0, 1, 2}, {13, 14, 15})}}));
  for (std::uint32_t i = 0; i < 8; ++i) flv.Audio(i * 20, 10 + i).Video(i * 40, 20 + i, i % 3 == 0);
  return {.file = {.bytes = flv.File()},
          .url = R"(http://user@host:80/a%20b/clip.flv$1:30&name=%41bc&Delay=2&text="a b")",
          .headers = {{"AcceptMetaInfo", "title,creator"}},
          .preferences = {{"FLVMergeSorterMaxTimespan", "5000"}}};
}

TEST(Memory, OfAWholeSession_IsGivenBack) {
  static_cast<void>(Exports());
  const LibraryHeap before = ReadLibraryHeap();
  EXPECT_EQ(0, before.live) << "of what ran before";
  {
    ScriptedHost host(Rich());
    host.factory->KeepObjects();
    host.file->KeepBuffers();
    host.Play();
    EXPECT_EQ(16u, host.log.Count("PacketReady"));
    EXPECT_GT(ReadLibraryHeap().allocations, before.allocations + 20) << "the library's memory comes from here";
    host.Close();
    host.ReleasePlugin();
    EXPECT_EQ(0u, host.FileReferences());
    EXPECT_EQ(0u, OtherReferences(host.sink.Get()));
    EXPECT_EQ(0u, OtherReferences(host.context.Get()));
    EXPECT_EQ(0u, OtherReferences(host.request.Get()));
    // This host keeps the three headers, and they their texts; nothing else is kept by anyone.
    std::size_t keptLists = 0;
    for (const auto& object : host.factory->Objects()) {
      const std::uint32_t others = OtherReferences(object.Get());
      EXPECT_LE(others, object.Query<IQBPacket>() ? 0u : 1u);
      if (others > 0 && object.Query<IQBPropertyList>()) ++keptLists;
    }
    EXPECT_EQ(3u, keptLists);
    // Each buffer that was read is in a packet that this host's factory keeps, or in nothing.
    for (const auto& buffer : host.file->Buffers()) EXPECT_LE(OtherReferences(buffer.Get()), 1u);
  }
  const LibraryHeap after = ReadLibraryHeap();
  EXPECT_EQ(0, after.live);
  EXPECT_EQ(0, after.mismatches);
  EXPECT_EQ(kOk, Exports().canUnload());
}

TEST(Memory, WithoutAny_NoObjectIsMade) {
  for (const Shortage shortage : {Shortage::kThrows, Shortage::kReturnsNull}) {
    int elsewhere = 0;
    void* object = &elsewhere;
    const CreateInstanceFunction create = Exports().createInstance;
    const HeapShortage heapShortage(1, shortage, true);
    EXPECT_EQ(Hex(kOutOfMemory), Hex(create(reinterpret_cast<IUnknown**>(&object))));
    EXPECT_EQ(nullptr, object);
  }
}

TEST(Memory, ForAContainersClaims_StaysInProportionToItsBytes) {
  struct Claim {
    const char* name;
    Bytes value;
    const char* expected;
  };
  Bytes wide{10, 0, 0x07, 0xA1, 0x20};
  wide.resize(5 + 500000, 5);
  Bytes tooWide{10, 0, 0xE4, 0xE1, 0xC0};
  tooWide.resize(5 + 15000000, 5);
  const Claim cases[] = {
      {"half a million values", wide, "FileHeaderReady 0x00000000"},
      {"15 million values", tooWide, "FileHeaderReady 0x8007000E null"},
      {"4 billion claimed", amf::MixedArray({{"a", amf::Null()}}, 0xFFFFFFFF), "FileHeaderReady 0x00000000"}};
  for (const Claim& row : cases) {
    FlvBuilder flv(kBoth);
    flv.Metadata(row.value).Metadata(QuickMetadata()).Audio(0, 20).Video(0, 20);
    ScriptedHost host({.file = {.bytes = flv.File()}});
    ASSERT_TRUE(host.Open());
    host.GetFileHeader();
    EXPECT_TRUE(host.log.All().back().starts_with(row.expected)) << row.name << ": " << host.log.All().back();
  }
  EXPECT_EQ(0, ReadLibraryHeap().live);
}

}  // namespace
}  // namespace qbflv::test
