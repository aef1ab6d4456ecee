// AMF0 trees: decoding, walking and searching them, and what metadata makes of them.
#include <cstring>
#include <span>

#include "fuzz/target.h"
#include "plugin/meta/amf_value.h"
#include "plugin/meta/metadata.h"

namespace qbflv::fuzz {
namespace {

/// What no tree may take, for each byte that it is decoded from and of the least tag.
constexpr std::uint64_t kNodesPerByte = 4;

std::uint64_t Walk(const AMFValue& value) {
  std::uint64_t nodes = 1;
  if (value.m_pszString) static_cast<void>(std::strlen(value.m_pszString.get()));
  for (std::uint32_t i = 0; i < value.GetNamedCount(); ++i) {
    const char* const name = value.GetName(i);
    if (name == nullptr) continue;
    const AMFValue* found = nullptr;
    const bool hasNames = value.m_ucType == kAMFObject || value.m_ucType == kAMFMixedArray;
    if (hasNames && i < 4) Require(value.FindProperty(name, &found) == kOk, "a name that is there is found");
  }
  // The count may be a lie of a failed tag: the walk ends where the nodes do.
  for (std::uint32_t i = 0; i < value.m_ulValueCount; ++i) {
    const AMFValue* const child = value.GetValue(i);
    if (child == nullptr) break;
    Require(value.GetValueType(i) == child->m_ucType, "a value's type is its node's");
    nodes += Walk(*child);
  }
  return nodes;
}

}  // namespace

void TryAmf(Input input) {
  {
    AMFValue value;
    AMFInput whole{.cursor = ByteCursor(input)};
    const Status status = value.ReadValue(whole);
    Require(Walk(value) <= kNodesPerByte * (input.size() + 16), "a tree is no larger than its bytes warrant");
    // A node may be decoded into again.
    AMFInput again{.cursor = ByteCursor(input)};
    Require(value.ReadValue(again) == status, "decoding again ends the same way");
  }
  AMFValue metaData;
  MediaInfo info;
  static_cast<void>(ParseScriptData(input, metaData, info));
  const KeyFrameList keyFrames = FindKeyFrames(metaData);
  std::uint32_t visited = 0;
  const std::uint32_t lastTime = 5000;
  VisitKeyFrames(keyFrames, &lastTime, [&](std::uint32_t, std::uint32_t) { ++visited; });
  Require(visited <= input.size(), "no more key frames than bytes");
}

}  // namespace qbflv::fuzz
