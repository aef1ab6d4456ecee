// The host's property list: names in another case are the same names.
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
  ASSERT_EQ(list->Properties().size(), 2U);
  EXPECT_EQ(list->Properties()[0].name, "Width");
  EXPECT_EQ(BufferText(list->Properties()[0].buffer.Get()), "wide");
  EXPECT_EQ(list->Properties()[1].name, "Title");
  std::uint32_t number = 0;
  EXPECT_EQ(list->GetULONG32("width", &number), kFailed) << "the value became a text";
}

}  // namespace
}  // namespace qbflv::host
