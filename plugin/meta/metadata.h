// Takes apart what a file says of itself in a script-data tag: numbers, texts for the file header, and the key-frame
// list.
#pragma once

#include <cstdint>
#include <span>

#include "plugin/meta/amf_value.h"
#include "plugin/meta/media_info.h"
#include "plugin/shell/host_interfaces.h"
#include "plugin/util/numbers.h"

namespace qbflv {

/// Decodes a script-data tag's body: a name, which is not compared with anything, and the value that becomes metaData.
/// Numbers found in it replace those in info; what it does not mention stays. A failure changes nothing in info.
[[nodiscard]] Status ParseScriptData(std::span<const std::uint8_t> body, AMFValue& metaData, MediaInfo& info);

/// Copies every entry named key to the list's property of the given name: numbers and truth values as numbers, texts as
/// texts. Does nothing unless metaData is a MixedArray; failures of the list are not reported.
void CopyMetaDataProperty(const AMFValue& metaData, const char* key, IQBPropertyList* list, const char* name,
                          IUnknown* context);

/// The key-frame list of the metadata; both are null when it has none that can be used.
struct KeyFrameList {
  const AMFValue* times = nullptr;
  const AMFValue* filePositions = nullptr;
};

[[nodiscard]] KeyFrameList FindKeyFrames(const AMFValue& metaData);

/// Calls accept(time in ms, offset) for every entry of the list that has two numbers, in order, and answers the largest
/// interval between two of them in ms, or 0. A decreasing time counts as an interval of 0. lastVideoTime: the end of
/// the last interval, or null when it is not known.
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
    // The list gives the tag itself; reading starts at the size field in front of it.
    const std::uint32_t offset = TruncateToU32(list.filePositions->GetValueNumber(i) - 4.0);
    accept(time, offset);
    extendTo(time);
    previous = time;
  }
  if (lastVideoTime != nullptr) extendTo(*lastVideoTime);
  return largest;
}

}  // namespace qbflv
