// Decodes, walks and searches AMF0 trees, and extracts metadata from them.
#include <cstring>
#include <span>

#include "fuzz/target.h"
#include "plugin/meta/amf_value.h"
#include "plugin/meta/metadata.h"

namespace qbflv::fuzz {
namespace {

/// Maximum number of nodes per byte of input. Small inputs count as 16 bytes more.
constexpr std::uint64_t kMaxNodesPerByte = 4;

/// Returns the number of nodes.
std::uint64_t Walk(const AMFValue& value) {
  std::uint64_t nodes = 1;
  if (value.m_pszString) static_cast<void>(std::strlen(value.m_pszString.get()));
  for (std::uint32_t i = 0; i < value.GetNamedCount(); ++i) {
    const char* const name = value.GetName(i);
    if (name == nullptr) continue;
    const AMFValue* found = nullptr;
    const bool hasNames = value.m_ucType == kAMFObject || value.m_ucType == kAMFMixedArray;
    if (hasNames && i < 4) Require(value.FindProperty(name, &found) == kOk, "an existing name is found");
  }
  // After a failure, the count may be larger than the number of nodes.
  for (std::uint32_t i = 0; i < value.m_ulValueCount; ++i) {
    const AMFValue* const child = value.GetValue(i);
    if (child == nullptr) break;
    Require(value.GetValueType(i) == child->m_ucType, "GetValueType returns the node's type");
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
    Require(Walk(value) <= kMaxNodesPerByte * (input.size() + 16), "a tree's size is proportional to its input");
    // A node can be reused.
    AMFInput again{.cursor = ByteCursor(input)};
    Require(value.ReadValue(again) == status, "decoding again returns the same status");
  }
  AMFValue metaData;
  MediaInfo info;
  static_cast<void>(ParseScriptData(input, metaData, info));
  const KeyFrameList keyFrames = FindKeyFrames(metaData);
  std::uint32_t visited = 0;
  const std::uint32_t lastTime = 5000;
  VisitKeyFrames(keyFrames, &lastTime, [&](std::uint32_t, std::uint32_t) { ++visited; });
  Require(visited <= input.size(), "there are no more key frames than bytes");
}

}  // namespace qbflv::fuzz
