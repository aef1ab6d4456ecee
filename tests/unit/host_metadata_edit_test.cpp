// The host's cut at a file's metadata.
#include <gtest/gtest.h>

#include <string>

#include "host/metadata_edit.h"

namespace qbflv::host {
namespace {

using namespace std::string_literals;

constexpr std::string_view kNames[] = {"keyframes", "size"};

std::string Edited(const std::string& body) {
  const auto* const bytes = reinterpret_cast<const std::uint8_t*>(body.data());
  const std::vector<std::uint8_t> edited = WithoutEntries({bytes, body.size()}, kNames);
  return {edited.begin(), edited.end()};
}

const std::string kHead = "\2\0\4meta"s;
const std::string kEnd = "\0\0\11"s;
const std::string kWidth = "\0\5width"s + "\0\1\2\3\4\5\6\7\10"s;
const std::string kSize = "\0\4size"s + "\5"s;
const std::string kTitle = "\0\5title"s + "\2\0\2ab"s;
const std::string kKeyFrames =
    "\0\11keyframes"s + "\3"s + "\0\5times"s + "\12\0\0\0\2\5\6"s + "\0\4size\1\1"s + "\0\0\11"s;

TEST(MetadataEdit, TakesTheNamedEntriesOut) {
  EXPECT_EQ(kHead + "\10\0\0\0\2"s + kWidth + kTitle + kEnd,
            Edited(kHead + "\10\0\0\0\4"s + kKeyFrames + kWidth + kSize + kTitle + kEnd));
  EXPECT_EQ(kHead + "\3"s + kWidth + kEnd, Edited(kHead + "\3"s + kWidth + kSize + kEnd));
  EXPECT_EQ(kHead + "\10\0\0\0\0"s + kEnd, Edited(kHead + "\10\0\0\0\0"s + kEnd)) << "nothing to take";
  EXPECT_EQ(kHead + "\10\0\0\0\1"s + kWidth + kEnd, Edited(kHead + "\10\0\0\0\1"s + kWidth)) << "an end left out";
}

TEST(MetadataEdit, OfWhatMakesNoSense_IsNothing) {
  const std::string whole = kHead + "\10\0\0\0\2"s + kKeyFrames + kWidth + kEnd;
  for (std::size_t size = 0; size < whole.size() - kEnd.size(); ++size) {
    const bool endsBetweenEntries = size == kHead.size() + 5 || size == kHead.size() + 5 + kKeyFrames.size();
    EXPECT_EQ(endsBetweenEntries, !Edited(whole.substr(0, size)).empty()) << size;
  }
  EXPECT_EQ("", Edited(kHead + "\2\0\2ab"s));
  EXPECT_EQ("", Edited(kHead + "\10\0\0\0\1"s + "\0\1a"s + "\7\0\0"s + kEnd)) << "a type that is none";
  std::string nested;
  for (int i = 0; i < 100000; ++i) nested += "\12\0\0\0\1"s;
  EXPECT_EQ("", Edited(kHead + "\10\0\0\0\1"s + "\0\1a"s + nested)) << "nested without end";
}

}  // namespace
}  // namespace qbflv::host
