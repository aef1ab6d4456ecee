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
