#include "plugin/util/url_parts.h"

#include <algorithm>

#include "plugin/util/text.h"
#include "plugin/util/url_escape.h"

namespace qbflv {

namespace {

struct SchemeEntry {
  std::string_view scheme;
  std::uint8_t code;
  URLProtocolClass protocolClass;
  std::uint16_t defaultPort;
};

constexpr SchemeEntry kSchemes[] = {
    {"http", 1, kProtocolHTTP, 80},   {"chttp", 1, kProtocolHTTP, 80},
    {"qtv", 2, kProtocolQTV, 7070},   {"rtsp", 3, kProtocolRTSP, 554},
    {"rtspt", 4, kProtocolRTSP, 554}, {"rtspu", 5, kProtocolRTSP, 554},
    {"mms", 6, kProtocolMMS, 554},    {"quelbar-sdp", 10, kProtocolSDP, 554},
    {"https", 9, kProtocolHTTP, 443}, {"file", 7, kProtocolFile, 0},
    {"fd", 7, kProtocolFile, 0},      {"prod", 11, kProtocolProd, 0},
    {"mpts", 12, kProtocolMPTS, 0},
};

/// Removes and returns the prefix of text before the first of the given characters, or all of text.
std::string_view TakeUpTo(std::string_view& text, std::string_view characters) {
  const std::string_view taken = Slice(text, 0, text.find_first_of(characters));
  text.remove_prefix(taken.size());
  return taken;
}

/// The parts as views of the URL, so that splitting it copies each part only once.
struct PartViews {
  std::string_view scheme;
  std::string_view userInformation;
  std::string_view host;
  std::string_view path;
  std::string_view query;
  std::string_view fragment;
};

Status StoreParts(const PartViews& views, URLParts& parts) {
  const bool stored = parts.scheme.Assign(views.scheme) && parts.userInformation.Assign(views.userInformation) &&
                      parts.host.Assign(views.host) && parts.path.Assign(views.path) &&
                      parts.query.Assign(views.query) && parts.fragment.Assign(views.fragment);
  return stored ? kOk : kOutOfMemory;
}

bool IsValidScheme(std::string_view scheme) {
  return !scheme.empty() && IsLetter(scheme.front()) && std::ranges::all_of(scheme, [](char c) {
    return IsLetter(c) || IsDigit(c) || c == '+' || c == '-' || c == '.';
  });
}

/// Checks only the characters of an IPv6 address; the resolver checks the rest.
bool IsBracketedAddress(std::string_view address) {
  return address.find(':') != std::string_view::npos &&
         std::ranges::all_of(address, [](char c) { return HexDigitValue(c) >= 0 || c == ':' || c == '.'; });
}

/// Removes and returns the host of an authority without user information; ":" and a port may remain.
std::string_view TakeHost(std::string_view& authority, bool& malformed) {
  if (!authority.starts_with('[')) {
    const std::string_view host = TakeUpTo(authority, ":");
    malformed = host.find_first_of("[]") != std::string_view::npos;
    return host;
  }
  const std::size_t length = std::min(authority.find(']'), authority.size() - 1) + 1;
  const std::string_view host = Slice(authority, 0, length);
  authority.remove_prefix(length);
  const bool closed = host.size() > 2 && host.ends_with(']');
  const bool ends = authority.empty() || authority.starts_with(':');
  malformed = !closed || !ends || !IsBracketedAddress(Slice(host, 1, host.size() - 2));
  return host;
}

std::int32_t ParsePort(std::string_view digits) {
  constexpr std::size_t kMaxDigits = 10;
  if (digits.empty() || digits.size() > kMaxDigits || !HoldsOnlyDigits(digits)) return kNoPort;
  const std::int64_t port = ToInteger(digits);
  return port > INT32_MAX ? kNoPort : static_cast<std::int32_t>(port);
}

void SplitAuthority(std::string_view authority, PartViews& views, URLParts& parts) {
  // No host contains "@", so the user information ends at the last one.
  const std::size_t at = authority.rfind('@');
  if (at != std::string_view::npos) {
    views.userInformation = Slice(authority, 0, at);
    authority.remove_prefix(at + 1);
  }
  views.host = TakeHost(authority, parts.bHostMalformed);
  parts.lPort = authority.starts_with(':') ? ParsePort(Slice(authority, 1)) : kNoPort;
}

void SplitPath(std::string_view rest, PartViews& views) {
  views.path = TakeUpTo(rest, "?#");
  if (rest.starts_with('?')) {
    rest.remove_prefix(1);
    views.query = TakeUpTo(rest, "#");
  }
  if (rest.starts_with('#')) views.fragment = Slice(rest, 1);
}

/// Replaces each backslash with "/".
bool AppendFilePath(std::string_view path, CQBString& result) {
  return std::ranges::all_of(path, [&](char c) { return result.Append(c == '\\' ? '/' : c); });
}

}  // namespace

Status SplitURL(std::string_view text, URLParts& parts) {
  PartViews views;
  std::string_view rest = text;
  const std::string_view prefix = TakeUpTo(rest, ":/?#");
  const bool hasScheme = rest.starts_with(':');
  if (hasScheme) {
    views.scheme = prefix;
    parts.bBadScheme = !IsValidScheme(prefix);
    rest.remove_prefix(1);
  } else {
    rest = text;
  }

  if (rest.starts_with("//")) {
    parts.kind = kURLNetworkPath;
    rest.remove_prefix(2);
    SplitAuthority(TakeUpTo(rest, "/?#"), views, parts);
    SplitPath(rest, views);
  } else if (rest.starts_with('/') || !hasScheme) {
    parts.kind = rest.starts_with('/') ? kURLAbsolutePath : kURLRelative;
    SplitPath(rest, views);
  } else {
    parts.kind = kURLOpaque;
    views.path = rest;
  }
  return StoreParts(views, parts);
}

Status RewriteFileURL(std::string_view text, URLParts& parts) {
  const bool isNetworkPath = parts.kind == kURLNetworkPath;
  const bool hasForeignHost = isNetworkPath && !parts.host.IsEmpty() && parts.host.GetView() != "localhost";
  std::string_view rest = Slice(text, text.find(':') + 1);
  if (isNetworkPath) rest.remove_prefix(2);
  if (isNetworkPath && !hasForeignHost) TakeUpTo(rest, "/?#");
  const std::string_view path = TakeUpTo(rest, "?");
  const std::string_view query = rest.empty() ? rest : Slice(rest, 1);

  // A host that becomes a segment and a path without "/" need a "/" before them; an empty path stays empty.
  const bool isBare = !isNetworkPath && !path.empty() && path.front() != '/' && path.front() != '\\';
  CQBString filePath;
  if ((hasForeignHost || isBare) && !filePath.Append('/')) return kOutOfMemory;
  if (!AppendFilePath(path, filePath) || !parts.query.Assign(query)) return kOutOfMemory;

  parts.kind = kURLNetworkPath;
  parts.path = std::move(filePath);
  parts.fragment = CQBString();
  if (!hasForeignHost) return kOk;
  parts.userInformation = CQBString();
  parts.host = CQBString();
  parts.lPort = kNoPort;
  parts.bHostMalformed = false;
  return kOk;
}

Status NormaliseURL(URLParts& parts) {
  const bool escaped = Escape(parts.query.GetView(), kQueryCharacters, parts.query) &&
                       Escape(parts.path.GetView(), kPathCharacters, parts.path);
  return escaped ? kOk : kOutOfMemory;
}

void LookUpScheme(URLParts& parts) {
  for (const SchemeEntry& entry : kSchemes) {
    if (!EqualsIgnoringCase(entry.scheme, parts.scheme.GetView())) continue;
    parts.ucSchemeCode = entry.code;
    parts.protocolClass = entry.protocolClass;
    parts.usDefaultPort = entry.defaultPort;
    return;
  }
}

}  // namespace qbflv
