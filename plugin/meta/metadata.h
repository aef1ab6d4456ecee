// Extracts metadata from script-data tags: numbers, texts for the file header, and the key-frame list.
#pragma once

#include <cstdint>
#include <span>

#include "plugin/meta/amf_value.h"
#include "plugin/meta/media_info.h"
#include "plugin/shell/host_interfaces.h"
#include "plugin/util/numbers.h"

namespace qbflv {

/// Decodes the body of a script-data tag: a name, which is ignored, and a value, which is decoded into metaData.
/// Numbers in it replace those in info; other members of info keep their values. Returns the decoder's status; info is
/// unchanged on failure.
[[nodiscard]] Status ParseScriptData(std::span<const std::uint8_t> body, AMFValue& metaData, MediaInfo& info);

/// Sets the list's property name to each entry named key: numbers and Booleans as numbers, Strings as texts. Does
/// nothing unless metaData is a MixedArray. Ignores failures of the list.
void CopyMetaDataProperty(const AMFValue& metaData, const char* key, IQBPropertyList* list, const char* name,
                          IUnknown* context);

/// The key-frame list in the metadata. Both pointers are null if it has no usable list.
struct KeyFrameList {
  const AMFValue* times = nullptr;
  const AMFValue* filePositions = nullptr;
};

[[nodiscard]] KeyFrameList FindKeyFrames(const AMFValue& metaData);

/// Calls accept(time in ms, offset) in order for each entry of the list with two numbers. Returns the largest interval
/// between two times in ms, or 0; a decreasing time counts as an interval of 0. lastVideoTime: the end of the last
/// interval, or null if it is unknown.
template <typename Accept>
std::uint32_t VisitKeyFrames(const KeyFrameList& list, const std::uint32_t* lastVideoTime, Accept&& accept) {
  constexpr std::uint32_t kNone = 0xFFFFFFFF;
  std::uint32_t previous = kNone;
  std::uint32_t largest = 0;
  const auto extendTo = [&](std::uint32_t time) {
    if (previous != kNone && time > previous && time - previous > largest) largest = time - previous;
  };

  for (std::uint32_t i = 0; list.times != nullptr && i < list.times->m_ulValueCount; ++i) {
    if (list.times->GetValueType(i) != kAMFNumber || list.filePositions->GetValueType(i) != kAMFNumber) continue;
    const std::uint32_t time = TruncateToU32(list.times->GetValueNumber(i) * 1000.0);
    // The list contains the tag's position; reading starts at the size field before it.
    const std::uint32_t offset = TruncateToU32(list.filePositions->GetValueNumber(i) - 4.0);
    accept(time, offset);
    extendTo(time);
    previous = time;
  }
  if (lastVideoTime != nullptr) extendTo(*lastVideoTime);
  return largest;
}

}  // namespace qbflv
