// The host's property list: kinds, names, order, and who owns what.
#include "host/property_list.h"

#include <gtest/gtest.h>

#include "host/buffer.h"

namespace qbflv::host {
namespace {

TEST(HostPropertyList, NameInAnotherCase_FindsAndReplacesTheValueInItsPlace) {
  const auto list = MakeObject<PropertyList>();
  ASSERT_EQ(list->SetULONG32("Width", 320), kOk);
  ASSERT_EQ(list->SetText("Title", "first"), kOk);
  ASSERT_EQ(list->SetText("WIDTH", "wide"), kOk);

  ASSERT_EQ(list->Properties().size(), 2u);
  EXPECT_EQ(list->Properties()[0].name, "Width");
  EXPECT_EQ(BufferText(list->Properties()[0].buffer.Get()), "wide");
  EXPECT_EQ(list->Properties()[1].name, "Title");
  std::uint32_t number = 0;
  EXPECT_EQ(list->GetULONG32("width", &number), kFailed) << "the value became a text";
}

TEST(HostPropertyList, GetterOfAnotherKindOrAbsentName_FailsAndNullsItsOutput) {
  const auto list = MakeObject<PropertyList>();
  list->SetULONG32("Number", 1);
  list->SetText("Text", "t");
  list->SetBuffer("Bytes", MakeObject<Buffer>().Get());

  using Getter = Status (PropertyList::*)(const char*, IQBBuffer**);
  struct Case {
    const char* name;
    Getter getter;
    Status status;
  };
  const Case cases[] = {
      {"Number", &PropertyList::GetCString, kFailed}, {"Number", &PropertyList::GetBuffer, kFailed},
      {"Bytes", &PropertyList::GetCString, kFailed},  {"Bytes", &PropertyList::GetBuffer, kOk},
      {"Text", &PropertyList::GetCString, kOk},       {"Text", &PropertyList::GetBuffer, kFailed},
      {"None", &PropertyList::GetCString, kFailed},   {"None", &PropertyList::GetBuffer, kFailed},
  };
  const auto before = MakeObject<Buffer>().Query<IQBBuffer>();
  for (const Case& test : cases) {
    IQBBuffer* value = before.Get();
    EXPECT_EQ((*list.*test.getter)(test.name, &value), test.status) << test.name;
    EXPECT_EQ(value == nullptr, Failed(test.status)) << test.name;
    const auto released = ComPtr<IQBBuffer>::Adopt(value);
  }
}

TEST(HostPropertyList, ListBehindTheInterface_IsFoundAgainAndItsBuffersOutliveIt) {
  ComPtr<IQBBuffer> text;
  {
    const auto behind = MakeObject<PropertyList>().Query<IQBPropertyList>();
    const auto list = behind.Query<PropertyList>();
    ASSERT_TRUE(list);
    list->SetText("Title", "kept");
    ASSERT_EQ(behind->GetCString("title", text.Out()), kOk);
  }
  EXPECT_EQ(BufferText(text.Get()), "kept");
  EXPECT_EQ(text->GetSize(), 5u) << "the text and its NUL";
}

TEST(HostBuffer, SliceThatGrows_LeavesTheSharedBlockAlone) {
  const auto block = std::make_shared<std::uint8_t[]>(8);
  for (std::uint8_t i = 0; i < 8; ++i) block[i] = i;
  const auto slice = MakeObject<Buffer>(std::shared_ptr<std::uint8_t[]>(block, block.get() + 2), 3u);
  EXPECT_EQ(slice->GetBuffer(), block.get() + 2) << "no copy yet";

  ASSERT_EQ(slice->SetSize(5), kOk);
  EXPECT_NE(slice->GetBuffer(), block.get() + 2);
  const std::vector<std::uint8_t> grown(slice->GetBuffer(), slice->GetBuffer() + 5);
  EXPECT_EQ(grown, (std::vector<std::uint8_t>{2, 3, 4, 0, 0}));
  EXPECT_EQ(block[5], 5);
}

}  // namespace
}  // namespace qbflv::host
