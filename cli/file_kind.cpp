// Recognises FLV files, and files that are something else, before the plug-in reads them.
#include "cli/file_kind.h"

#include <algorithm>
#include <array>
#include <cctype>
#include <string_view>

#include "flv/format.h"
#include "host/host_error.h"
#include "host/open_file.h"

namespace qbflv::cli {

namespace {

using namespace std::string_view_literals;

struct Signature {
  std::size_t offset;
  std::string_view bytes;
  const char* kind;
};

constexpr Signature kSignatures[] = {
    {0, "\x89PNG"sv, "a PNG picture"},
    {0, "\xFF\xD8\xFF"sv, "a JPEG picture"},
    {0, "GIF8"sv, "a GIF picture"},
    {4, "ftyp"sv, "an MP4 or QuickTime file"},
    {0, "\x1A\x45\xDF\xA3"sv, "a Matroska or WebM file"},
    {0, "RIFF"sv, "a RIFF file (AVI, WAV or WebP)"},
    {0, "OggS"sv, "an Ogg file"},
    {0, "ID3"sv, "an MP3 file"},
    {0, "FWS"sv, "a Flash program (SWF)"},
    {0, "CWS"sv, "a Flash program (SWF)"},
    {0, "%PDF"sv, "a PDF document"},
    {0, "PK\3\4"sv, "a ZIP archive"},
    {0, "\x1F\x8B"sv, "a gzip archive"},
    {0, "#EXTM3U"sv, "a playlist"},
    {0, "<!doctype html"sv, "an HTML page"},
    {0, "<html"sv, "an HTML page"},
};

bool IsEqualIgnoringCase(std::string_view left, std::string_view right) {
  return std::ranges::equal(left, right,
                            [](unsigned char a, unsigned char b) { return std::tolower(a) == std::tolower(b); });
}

std::string Reason(std::string_view start) {
  if (start.empty()) return ": it is empty";
  for (const Signature& signature : kSignatures) {
    if (start.size() < signature.offset) continue;
    if (IsEqualIgnoringCase(start.substr(signature.offset, signature.bytes.size()), signature.bytes)) {
      return std::string(": it looks like ") + signature.kind;
    }
  }
  return {};
}

}  // namespace

bool HasFlvExtension(const std::filesystem::path& path) {
  return IsEqualIgnoringCase(path.extension().string(), ".flv");
}

std::string WhyNotFlv(const flv::ByteSource& file) {
  std::array<std::uint8_t, 16> bytes{};
  const std::int64_t count = file.ReadAt(0, bytes);
  if (count < 0) return {};
  const std::string_view start(reinterpret_cast<const char*>(bytes.data()), static_cast<std::size_t>(count));
  if (!start.starts_with("FLV")) return "not an FLV file" + Reason(start);
  return start.size() < flv::kFileHeaderSize ? "not an FLV file: its header is incomplete" : std::string();
}

void RequireFlvFile(const std::filesystem::path& path) {
  const std::string why = WhyNotFlv(*host::OpenFile(path));
  if (!why.empty()) throw host::HostError(why);
}

}  // namespace qbflv::cli
