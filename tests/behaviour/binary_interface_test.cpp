// The binary interface as another compiler's code meets it: tables of plain functions, called and offered by number.
#include <gtest/gtest.h>

#include <vector>

#include "host/buffer.h"
#include "tests/support/scripted_host.h"

namespace qbflv::test {
namespace {

template <typename Result = Status, typename... Arguments>
Result CallSlot(void* object, std::size_t slot, Arguments... arguments) {
  using Function = Result (*)(void*, Arguments...);
  void* const* const table = *static_cast<void***>(object);
  return reinterpret_cast<Function>(table[slot])(object, arguments...);
}

TEST(BinaryInterface, OfThePlugin_HasItsOperationsInTheirSlots) {
  void* plugin = nullptr;
  ASSERT_EQ(kOk, Exports().createInstance(reinterpret_cast<IUnknown**>(&plugin)));
  const auto query = [&](const GUID& id) {
    void* object = nullptr;
    EXPECT_EQ(kOk, CallSlot(plugin, 0, &id, &object));
    return object;
  };
  EXPECT_EQ(2u, CallSlot<std::uint32_t>(plugin, 1));
  EXPECT_EQ(1u, CallSlot<std::uint32_t>(plugin, 2));

  std::uint32_t flag = 0;
  std::uint32_t version = 0;
  const char* texts[3] = {};
  EXPECT_EQ(kOk, CallSlot(plugin, 3, &flag, &texts[0], &texts[1], &texts[2], &version));
  EXPECT_EQ(0xE03000DEu, version);
  EXPECT_EQ(kFailed, CallSlot(plugin, 4, static_cast<void*>(nullptr)));

  void* const format = query(IQBFileFormatObject::kId);
  const char* const* lists[3] = {};
  EXPECT_EQ(kOk, CallSlot(format, 3, &lists[0], &lists[1], &lists[2]));
  EXPECT_STREQ("flv", lists[1][0]);
  EXPECT_EQ(kInvalidState, CallSlot(format, 4, nullptr, nullptr, nullptr));
  EXPECT_EQ(kInvalidState, CallSlot(format, 5));
  EXPECT_EQ(kInvalidState, CallSlot(format, 6, std::uint16_t{0}));
  EXPECT_EQ(kInvalidState, CallSlot(format, 7, std::uint16_t{0}));
  EXPECT_EQ(kInvalidState, CallSlot(format, 8, std::uint32_t{0}));
  EXPECT_EQ(kOk, CallSlot(format, 9));

  void* const response = query(IQBFileResponse::kId);
  EXPECT_EQ(kInvalidState, CallSlot(response, 3, kOk));
  EXPECT_EQ(kOk, CallSlot(response, 4, kOk));
  EXPECT_EQ(kInvalidState, CallSlot(response, 5, kOk, nullptr));
  EXPECT_EQ(kNotImplemented, CallSlot(response, 6, kOk));
  EXPECT_EQ(kInvalidState, CallSlot(response, 7, kOk));

  void* const statResponse = query(IQBFileStatResponse::kId);
  EXPECT_EQ(kInvalidState, CallSlot(statResponse, 3, kOk, std::uint32_t{1}));
  void* const interruptSafe = query(IQBInterruptSafe::kId);
  EXPECT_EQ(1, CallSlot<BOOL>(interruptSafe, 3));
  void* const packetFormat = query(IQBPacketFormat::kId);
  EXPECT_EQ(kOk, CallSlot(packetFormat, 3, &lists[0]));
  EXPECT_STREQ("rtmp", lists[0][0]);
  EXPECT_EQ(kOk, CallSlot(packetFormat, 4, static_cast<const char*>(nullptr)));

  for (void* const object : {format, response, statResponse, interruptSafe, packetFormat}) {
    CallSlot<std::uint32_t>(object, 2);
  }
  EXPECT_EQ(0u, CallSlot<std::uint32_t>(plugin, 2));
}

/// A host object as a table of functions: what an object without C++ behind it is.
struct RawObject {
  const void* const* table;
  std::vector<std::string>* log;
  void* response;
  std::uint32_t references;
};

Status RawQuery(RawObject*, const GUID*, void** object) {
  *object = nullptr;
  return kNoInterface;
}
std::uint32_t RawAddRef(RawObject* self) { return ++self->references; }
std::uint32_t RawRelease(RawObject* self) { return --self->references; }
Status RawUnused(RawObject* self) {
  self->log->push_back("a reserved slot");
  return kOk;
}
Status RawFileInit(RawObject* self, std::uint32_t flags, void* response) {
  self->log->push_back("Init " + std::to_string(flags));
  CallSlot<std::uint32_t>(response, 1);
  self->response = response;
  return kOk;
}
Status RawFileClose(RawObject* self) {
  self->log->push_back("Close");
  return kOk;
}
Status RawFileRead(RawObject* self, std::uint32_t count) {
  self->log->push_back("Read " + std::to_string(count));
  return kOk;
}
Status RawFileSeek(RawObject* self, std::uint32_t offset, BOOL relative) {
  self->log->push_back("Seek " + std::to_string(offset) + " " + std::to_string(relative));
  return kOk;
}
Status RawSinkInitDone(RawObject* self, Status status) {
  self->log->push_back("InitDone " + Hex(status));
  return kOk;
}

template <typename... Functions>
std::vector<const void*> Table(Functions... functions) {
  return {reinterpret_cast<const void*>(functions)...};
}

TEST(BinaryInterface, OfTheHost_IsCalledByItsSlots) {
  std::vector<std::string> log;
  const auto fileTable = Table(&RawQuery, &RawAddRef, &RawRelease, &RawFileInit, &RawUnused, &RawFileClose,
                               &RawFileRead, &RawUnused, &RawFileSeek, &RawUnused);
  const auto sinkTable = Table(&RawQuery, &RawAddRef, &RawRelease, &RawSinkInitDone, &RawUnused, &RawUnused, &RawUnused,
                               &RawUnused, &RawUnused);
  RawObject file{fileTable.data(), &log, nullptr, 1};
  RawObject sink{sinkTable.data(), &log, nullptr, 1};
  ScriptedHost host({.file = {.bytes = {}}});
  host.InitPlugin();
  ASSERT_EQ(kOk, host.format->InitFileFormat(host.request.Get(), reinterpret_cast<IQBFormatSink*>(&sink),
                                             reinterpret_cast<IQBSourceFile*>(&file)));
  const FlvBuilder flv(kVideo);
  const auto buffer = host::MakeObject<host::Buffer>();
  ASSERT_EQ(kOk, buffer->Set(flv.File().data(), 9));
  EXPECT_EQ(kOk, CallSlot(file.response, 3, kOk));
  EXPECT_EQ(kOk, CallSlot(file.response, 7, kOk));
  EXPECT_EQ(kOk, CallSlot(file.response, 5, kOk, static_cast<void*>(static_cast<IQBBuffer*>(buffer.Get()))));
  EXPECT_EQ(kOk, host.Close());
  EXPECT_EQ((std::vector<std::string>{"Init 5", "Seek 0 0", "Read 9", "InitDone 0x00000000", "Close"}), log);
  EXPECT_EQ(1u, file.references);
  EXPECT_EQ(1u, sink.references);
  CallSlot<std::uint32_t>(file.response, 2);
}

}  // namespace
}  // namespace qbflv::test
