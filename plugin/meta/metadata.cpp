#include "plugin/meta/metadata.h"

#include <cstring>

#include "plugin/payload/object_creation.h"

namespace qbflv {

namespace {

/// Converts the metadata's seconds and kilobits.
constexpr double kThousand = 1000.0;

bool TakeNumber(const AMFValue& metaData, const char* key, double scale, std::uint32_t& value) {
  double number = 0.0;
  if (Failed(metaData.FindNumber(key, &number))) return false;
  value = TruncateToU32(number * scale);
  return true;
}

void TakeNumbers(const AMFValue& metaData, MediaInfo& info) {
  if (TakeNumber(metaData, "duration", kThousand, info.m_ulMetaDuration)) info.m_bMetaDurationKnown = true;
  if (TakeNumber(metaData, "width", 1.0, info.m_ulVideoWidth)) info.m_bWidthKnown = true;
  if (TakeNumber(metaData, "height", 1.0, info.m_ulVideoHeight)) info.m_bHeightKnown = true;
  if (TakeNumber(metaData, "audiodatarate", kThousand, info.m_ulAudioBitRate)) info.m_bAudioBitRateKnown = true;
  if (TakeNumber(metaData, "videodatarate", kThousand, info.m_ulVideoBitRate)) info.m_bVideoBitRateKnown = true;
  if (Succeeded(metaData.FindNumber("framerate", &info.m_dFrameRate))) {
    info.m_bFrameRateKnown = true;
    info.m_bMeasureFrameRate = false;
  }
}

/// Some writers omit the video bit in the header of a file with video. Metadata that describes a picture reveals it.
void CorrectAudioOnlyHeader(MediaInfo& info) {
  if (!info.m_bAudioOnly || !info.IsPictureSizeKnown() || !info.m_bFrameRateKnown) return;
  info.m_FileHeader.ucFlags |= kFlagVideo;
  info.m_bAudioOnly = false;
}

}  // namespace

Status ParseScriptData(std::span<const std::uint8_t> body, AMFValue& metaData, MediaInfo& info) {
  AMFInput input{ByteCursor(body)};
  AMFValue name;
  Status status = name.ReadValue(input);
  if (Failed(status)) return status;
  if (input.cursor.remaining == 0) return kOk;
  status = metaData.ReadValue(input);
  if (Failed(status)) return status;

  info.m_bMetaDataPresent = true;
  TakeNumbers(metaData, info);
  CorrectAudioOnlyHeader(info);
  return kOk;
}

void CopyMetaDataProperty(const AMFValue& metaData, const char* key, IQBPropertyList* list, const char* name,
                          IUnknown* context) {
  if (list == nullptr || metaData.m_ucType != kAMFMixedArray) return;
  for (std::uint32_t i = 0; i < metaData.GetNamedCount(); ++i) {
    const char* const entry = metaData.GetName(i);
    if (entry == nullptr || std::strcmp(entry, key) != 0) continue;
    const AMFValue* const value = metaData.GetValue(i);
    if (value == nullptr) continue;
    if (value->m_ucType == kAMFNumber) {
      list->SetULONG32(name, TruncateToU32(value->m_dNumber));
    } else if (value->m_ucType == kAMFBoolean) {
      list->SetULONG32(name, value->m_bBoolean);
    } else if (value->m_ucType == kAMFString) {
      SetStringProperty(list, name, value->m_pszString.get(), context, StoreAs::kCString);
    }
  }
}

KeyFrameList FindKeyFrames(const AMFValue& metaData) {
  const AMFValue* keyFrames = nullptr;
  if (Failed(metaData.FindProperty("keyframes", &keyFrames)) || keyFrames->m_ucType != kAMFObject) return {};
  KeyFrameList list;
  if (Failed(keyFrames->FindProperty("times", &list.times)) ||
      Failed(keyFrames->FindProperty("filepositions", &list.filePositions)) ||
      list.times->m_ulValueCount != list.filePositions->m_ulValueCount) {
    return {};
  }
  return list;
}

}  // namespace qbflv
