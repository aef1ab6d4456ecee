// The host's objects as the library calls them: by the numbers of their slots. Here they are tables of plain functions.
#include <gtest/gtest.h>

#include <string>
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

/// An object without C++ behind it.
struct RawObject {
  const void* const* table;
  std::vector<std::string>* log;
  void* response;
  std::uint32_t references;
};

Status Log(RawObject* self, std::string line) {
  self->log->push_back(std::move(line));
  return kOk;
}

template <typename... Functions>
std::vector<const void*> Table(Functions... functions) {
  // The first three slots of every table.
  Status (*query)(RawObject*, const GUID*, void**) = [](RawObject*, const GUID*, void** object) {
    *object = nullptr;
    return kNoInterface;
  };
  std::uint32_t (*addRef)(RawObject*) = [](RawObject* self) { return ++self->references; };
  std::uint32_t (*release)(RawObject*) = [](RawObject* self) { return --self->references; };
  return {reinterpret_cast<const void*>(query), reinterpret_cast<const void*>(addRef),
          reinterpret_cast<const void*>(release), reinterpret_cast<const void*>(+functions)...};
}

TEST(BinaryInterface, OfTheHost_IsCalledByItsSlots) {
  const auto unused = [](RawObject* self) { return Log(self, "an unused slot"); };
  const auto init = [](RawObject* self, std::uint32_t flags, void* response) {
    CallSlot<std::uint32_t>(response, 1);
    self->response = response;
    return Log(self, "Init " + std::to_string(flags));
  };
  const auto close = [](RawObject* self) { return Log(self, "Close"); };
  const auto read = [](RawObject* self, std::uint32_t count) { return Log(self, "Read " + std::to_string(count)); };
  const auto seek = [](RawObject* self, std::uint32_t offset, BOOL relative) {
    return Log(self, "Seek " + std::to_string(offset) + " " + std::to_string(relative));
  };
  const auto initDone = [](RawObject* self, Status status) { return Log(self, "InitDone " + Hex(status)); };
  const auto fileTable = Table(init, unused, close, read, unused, seek, unused);
  const auto sinkTable = Table(initDone, unused, unused, unused, unused, unused);
  std::vector<std::string> log;
  RawObject file{fileTable.data(), &log, nullptr, 1};
  RawObject sink{sinkTable.data(), &log, nullptr, 1};
  ScriptedHost host({});
  host.InitPlugin();
  ASSERT_EQ(kOk, host.format->InitFileFormat(host.request.Get(), reinterpret_cast<IQBFormatSink*>(&sink),
                                             reinterpret_cast<IQBSourceFile*>(&file)));
  const auto buffer = host::MakeObject<host::Buffer>();
  ASSERT_EQ(kOk, buffer->Set(FlvBuilder(kVideo).File().data(), 9));
  EXPECT_EQ(kOk, CallSlot(file.response, 3, kOk));
  EXPECT_EQ(kOk, CallSlot(file.response, 7, kOk));
  EXPECT_EQ(kOk, CallSlot(file.response, 5, kOk, static_cast<void*>(static_cast<IQBBuffer*>(buffer.Get()))));
  EXPECT_EQ(kOk, host.Close());
  EXPECT_EQ((std::vector<std::string>{"Init 5", "Seek 0 0", "Read 9", "InitDone 0x00000000", "Close"}), log);
  EXPECT_EQ(1U, file.references);
  EXPECT_EQ(1U, sink.references);
  CallSlot<std::uint32_t>(file.response, 2);
}

}  // namespace
}  // namespace qbflv::test
