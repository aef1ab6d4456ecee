// Builds the metadata of an FLV file.
#include "flv/metadata.h"

#include <string>
#include <utility>

#include "flv/format.h"

namespace qbflv::flv {

namespace {

/// Maximum total size of the file's own entries in the new metadata. Readers decode all of them for each session.
constexpr std::size_t kMaxOwnBytes = 256 * 1024;

/// Entries of the file's own metadata that are replaced or no longer valid.
constexpr std::string_view kMeasured[] = {"duration",
                                          "width",
                                          "height",
                                          "framerate",
                                          "videodatarate",
                                          "videocodecid",
                                          "audiodatarate",
                                          "audiosamplerate",
                                          "audiosamplesize",
                                          "stereo",
                                          "audiocodecid",
                                          "filesize",
                                          "datasize",
                                          "audiosize",
                                          "videosize",
                                          "hasAudio",
                                          "hasVideo",
                                          "hasMetadata",
                                          "hasKeyframes",
                                          "canSeekToEnd",
                                          "lasttimestamp",
                                          "keyframes",
                                          "lastkeyframetimestamp",
                                          "lastkeyframelocation"};

/// Returns a number of the file's own metadata; 0 if there is no such number or it is not positive.
double OwnNumber(const FileFacts& facts, std::string_view name) {
  const AmfValue* const value = facts.metadata ? facts.metadata->values.Find(name) : nullptr;
  return value != nullptr && value->IsNumber() && value->Number() > 0 ? value->Number() : 0;
}

/// Returns the file's own entries without those in kMeasured.
AmfValue OwnValues(const FileFacts& facts) {
  AmfValue own(AmfValue::Type::kMixedArray);
  if (!facts.metadata) return own;
  std::size_t size = 0;
  for (const AmfValue::Entry& entry : facts.metadata->values.Entries()) {
    bool isMeasured = false;
    for (const std::string_view name : kMeasured) isMeasured = isMeasured || entry.name == name;
    if (isMeasured) continue;
    const std::size_t entrySize = entry.name.size() + AmfSize(entry.value);
    if (size + entrySize > kMaxOwnBytes) continue;
    size += entrySize;
    own.Append(entry.name, entry.value);
  }
  return own;
}

void AddVideo(AmfValue& metadata, const FileFacts& facts) {
  const VideoFacts& video = facts.video;
  // Write an unknown size as 0. Without these entries the plug-in would search the whole file for the size.
  metadata.Append("width", video.size.IsKnown() ? video.size.width : OwnNumber(facts, "width"));
  metadata.Append("height", video.size.IsKnown() ? video.size.height : OwnNumber(facts, "height"));
  metadata.Append("framerate", video.frames > 1 ? video.FrameRate() : OwnNumber(facts, "framerate"));
  metadata.Append("videodatarate", video.BitRate() / 1000);
  metadata.Append("videocodecid", double{video.fourCc != 0 ? static_cast<double>(video.fourCc) : video.codec});
}

void AddAudio(AmfValue& metadata, const FileFacts& facts) {
  const AudioFacts& audio = facts.audio;
  metadata.Append("audiodatarate", audio.BitRate() / 1000);
  metadata.Append("audiosamplerate", double(audio.aac ? audio.aac->sampleRate : audio.sampleRate));
  metadata.Append("audiosamplesize", double(audio.bitsPerSample));
  metadata.Append("stereo", (audio.aac && audio.aac->channels > 0 ? audio.aac->channels : audio.channels) >= 2);
  metadata.Append("audiocodecid", double(audio.format));
}

void AddKeyFrames(AmfValue& metadata, const MetadataValues& values) {
  const bool hasList = !values.keyTimes.empty();
  metadata.Append("hasKeyframes", hasList);
  if (!hasList) return;
  metadata.Append("lastkeyframetimestamp", values.keyTimes.back());
  metadata.Append("lastkeyframelocation", values.keyPositions.back());
  // Readers expect an object here, not a mixed array.
  AmfValue list(AmfValue::Type::kObject);
  list.Append("times", AmfValue::NumberArray(values.keyTimes));
  list.Append("filepositions", AmfValue::NumberArray(values.keyPositions));
  metadata.Append("keyframes", std::move(list));
}

}  // namespace

std::vector<std::uint8_t> MakeMetadata(const FileFacts& facts, const MetadataValues& values) {
  AmfValue metadata = OwnValues(facts);
  metadata.Append("hasMetadata", true);
  metadata.Append("hasAudio", values.hasAudio);
  metadata.Append("hasVideo", values.hasVideo);
  metadata.Append("duration", values.duration);
  metadata.Append("lasttimestamp", values.lastTime);
  // Picture sizes and a frame rate would make readers expect a video stream.
  if (values.hasVideo) AddVideo(metadata, facts);
  if (values.hasAudio) AddAudio(metadata, facts);
  metadata.Append("filesize", double(values.fileSize));
  metadata.Append("datasize", double(values.audioSize + values.videoSize));
  metadata.Append("audiosize", double(values.audioSize));
  metadata.Append("videosize", double(values.videoSize));
  AddKeyFrames(metadata, values);

  std::vector<std::uint8_t> body;
  WriteAmf(std::string("onMetaData"), body);
  WriteAmf(metadata, body);
  return body;
}

std::vector<std::uint8_t> MakeFileStart(bool hasAudio, bool hasVideo, std::span<const std::uint8_t> metadata) {
  const int flags = (hasAudio ? kAnnouncesAudio : 0) | (hasVideo ? kAnnouncesVideo : 0);
  const auto size = static_cast<std::uint32_t>(metadata.size());
  constexpr std::size_t kHeaders = kFileHeaderSize + kSizeFieldSize + kTagHeaderSize;
  std::vector<std::uint8_t> start = {'F', 'L', 'V', 1, static_cast<std::uint8_t>(flags), 0, 0, 0, kFileHeaderSize};
  start.reserve(kHeaders + metadata.size() + kSizeFieldSize);
  start.resize(kHeaders);
  WriteTagHeader(&start[kFileHeaderSize + kSizeFieldSize], TagType::kScript, size, 0);
  start.insert(start.end(), metadata.begin(), metadata.end());
  start.resize(start.size() + kSizeFieldSize);
  WriteNumber<4>(&start[start.size() - kSizeFieldSize], kTagHeaderSize + size);
  return start;
}

}  // namespace qbflv::flv
