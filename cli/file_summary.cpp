// The content of an FLV file, as text and as JSON.
#include "cli/file_summary.h"

#include <fmt/format.h>

#include <cmath>
#include <utility>

#include "cli/format_time.h"
#include "cli/output.h"
#include "flv/format.h"

namespace qbflv::cli {

namespace {

using Json = nlohmann::ordered_json;

/// Names of the sound formats and video codecs, indexed by their numbers in the published FLV format.
constexpr const char* kSoundNames[] = {"PCM",
                                       "ADPCM",
                                       "MP3",
                                       "PCM, little endian",
                                       "Nellymoser 16 kHz",
                                       "Nellymoser 8 kHz",
                                       "Nellymoser",
                                       "G.711 A-law",
                                       "G.711 mu-law",
                                       "format 9",
                                       "AAC",
                                       "Speex",
                                       "format 12",
                                       "format 13",
                                       "MP3 8 kHz",
                                       "device-specific sound"};
constexpr const char* kCodecNames[] = {"codec 0", "JPEG",           "Sorenson H.263", "Screen Video",
                                       "VP6",     "VP6 with alpha", "Screen Video 2", "H.264"};

std::string AacName(const flv::AacConfiguration& configuration) {
  constexpr std::uint8_t kLowComplexity = 2;
  constexpr std::uint8_t kSpectralBand = 5;
  constexpr std::uint8_t kParametricStereo = 29;
  if (configuration.objectType == kLowComplexity) return "AAC-LC";
  if (configuration.objectType == kSpectralBand) return "HE-AAC";
  if (configuration.objectType == kParametricStereo) return "HE-AAC v2";
  return fmt::format("AAC, object type {}", configuration.objectType);
}

std::string AudioCodec(const flv::AudioFacts& audio) {
  return audio.aac ? AacName(*audio.aac) : kSoundNames[audio.format & 0x0F];
}

std::string FourCcText(std::uint32_t fourCc) {
  std::string text;
  for (int shift = 24; shift >= 0; shift -= 8) text += static_cast<char>(fourCc >> shift & 0xFF);
  return Printable(text);
}

std::string VideoCodec(const flv::VideoFacts& video) {
  if (video.fourCc != 0) return FourCcText(video.fourCc);
  return video.codec < std::size(kCodecNames) ? kCodecNames[video.codec] : fmt::format("codec {}", video.codec);
}

/// Returns an empty text for a codec other than H.264.
std::string ProfileName(const flv::VideoFacts& video) {
  constexpr std::pair<int, const char*> kProfiles[] = {{66, "Baseline"},   {77, "Main"},     {88, "Extended"},
                                                       {100, "High"},      {110, "High 10"}, {122, "High 4:2:2"},
                                                       {244, "High 4:4:4"}};
  if (!video.avc) return {};
  for (const auto& [number, name] : kProfiles) {
    if (number == video.avc->profile) return name;
  }
  return fmt::format("profile {}", video.avc->profile);
}

std::uint32_t SampleRate(const flv::AudioFacts& audio) {
  return audio.aac && audio.aac->sampleRate > 0 ? audio.aac->sampleRate : audio.sampleRate;
}

int Channels(const flv::AudioFacts& audio) {
  return audio.aac && audio.aac->channels > 0 ? audio.aac->channels : audio.channels;
}

std::string RateAndLength(const flv::StreamFacts& stream) {
  return fmt::format("{:.0f} kb/s, {} s, {} packets", stream.BitRate() / 1000, stream.Duration() / 1000.0, stream.tags);
}

std::string AudioLine(const flv::AudioFacts& audio) {
  return fmt::format("Audio       {}, {} Hz, {}, {}", AudioCodec(audio), SampleRate(audio),
                     Channels(audio) == 1 ? "mono" : fmt::format("{} channels", Channels(audio)), RateAndLength(audio));
}

std::string VideoLine(const flv::VideoFacts& video) {
  std::string line = "Video       " + VideoCodec(video);
  if (video.avc) line += fmt::format(" {} {:.1f}", ProfileName(video), video.avc->level / 10.0);
  if (video.size.IsKnown()) line += fmt::format(", {}x{}", video.size.width, video.size.height);
  return line + fmt::format(", {:.4g} frames/s, {}", video.FrameRate(), RateAndLength(video));
}

std::string KeyFrameLine(const flv::VideoFacts& video) {
  std::string line = fmt::format("Key frames  {}", video.keyFrames);
  if (video.keyFrames < 2) return line;
  return line + fmt::format(", every {:.3g} s ({} to {} s)", video.meanKeyInterval / 1000,
                            video.shortestKeyInterval / 1000.0, video.longestKeyInterval / 1000.0);
}

void AddTree(const flv::AmfValue& value, const std::string& name, std::size_t depth, std::vector<std::string>& lines) {
  using Type = flv::AmfValue::Type;
  std::string line = std::string(2 * depth, ' ') + Printable(name);
  switch (value.GetType()) {
    case Type::kNumber:
    case Type::kDate:
      line += fmt::format(": {}", value.Number());
      break;
    case Type::kBoolean:
      line += value.Number() != 0 ? ": true" : ": false";
      break;
    case Type::kString:
      line += ": " + Printable(value.Text());
      break;
    case Type::kNull:
      line += ": null";
      break;
    case Type::kUndefined:
      line += ": undefined";
      break;
    case Type::kObject:
    case Type::kMixedArray:
    case Type::kArray:
      line += value.Entries().empty() ? ": empty" : ":";
  }
  lines.push_back(std::move(line));
  std::size_t number = 0;
  for (const flv::AmfValue::Entry& entry : value.Entries()) {
    const bool isElement = value.GetType() == Type::kArray;
    AddTree(entry.value, isElement ? fmt::format("[{}]", number++) : entry.name, depth + 1, lines);
  }
}

Json StreamAsJson(const flv::StreamFacts& stream) {
  return {{"packets", stream.tags},
          {"bytes", stream.bytes},
          {"bit_rate", std::llround(stream.BitRate())},
          {"start", stream.firstTime.value_or(0)},
          {"duration", stream.Duration()}};
}

}  // namespace

std::vector<std::string> SummaryLines(const flv::FileFacts& facts) {
  std::vector<std::string> lines;
  const std::int32_t length = flv::TimeBetween(facts.FirstFrameTime(), facts.latestContinuedTime);
  lines.push_back(fmt::format("Length      {}, {} bytes", FormatTime(length), facts.fileSize));
  if (facts.audio.IsPresent()) lines.push_back(AudioLine(facts.audio));
  if (facts.video.IsPresent()) {
    lines.push_back(VideoLine(facts.video));
    lines.push_back(KeyFrameLine(facts.video));
  }
  return lines;
}

std::vector<std::string> MetadataLines(const flv::OwnMetadata& metadata) {
  std::vector<std::string> lines;
  AddTree(metadata.values, "Metadata", 0, lines);
  if (metadata.hasKeyFrameList) lines.push_back(fmt::format("  keyframes: {} positions", metadata.keyPositions.size()));
  return lines;
}

Json AudioAsJson(const flv::AudioFacts& audio) {
  if (!audio.IsPresent()) return nullptr;
  Json json = StreamAsJson(audio);
  json["codec"] = AudioCodec(audio);
  json["sample_rate"] = SampleRate(audio);
  json["channels"] = Channels(audio);
  return json;
}

Json VideoAsJson(const flv::VideoFacts& video) {
  if (!video.IsPresent()) return nullptr;
  Json json = StreamAsJson(video);
  json["codec"] = VideoCodec(video);
  if (video.avc) json["profile"] = ProfileName(video);
  if (video.avc) json["level"] = video.avc->level / 10.0;
  json["width"] = video.size.width;
  json["height"] = video.size.height;
  json["frame_rate"] = video.FrameRate();
  json["key_frames"] = video.keyFrames;
  json["key_frame_interval"] = {
      {"shortest", video.shortestKeyInterval}, {"mean", video.meanKeyInterval}, {"longest", video.longestKeyInterval}};
  return json;
}

}  // namespace qbflv::cli
