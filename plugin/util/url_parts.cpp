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

/// Takes the text before the first of the given characters (all of it when there is none) from text.
std::string_view TakeUpTo(std::string_view& text, std::string_view characters) {
  const std::string_view taken = Slice(text, 0, text.find_first_of(characters));
  text.remove_prefix(taken.size());
  return taken;
}

/// The texts of the parts, before they are stored.
struct PartTexts {
  std::string_view scheme;
  std::string_view userInformation;
  std::string_view host;
  std::string_view path;
  std::string_view query;
  std::string_view fragment;
};

Status StoreTexts(const PartTexts& texts, URLParts& parts) {
  const bool stored = parts.scheme.Assign(texts.scheme) && parts.userInformation.Assign(texts.userInformation) &&
                      parts.host.Assign(texts.host) && parts.path.Assign(texts.path) &&
                      parts.query.Assign(texts.query) && parts.fragment.Assign(texts.fragment);
  parts.bParseFailed = !stored;
  return stored ? kOk : kOutOfMemory;
}

bool IsValidScheme(std::string_view scheme) {
  return !scheme.empty() && IsLetter(scheme.front()) && std::ranges::all_of(scheme, [](char c) {
    return IsLetter(c) || IsDigit(c) || c == '+' || c == '-' || c == '.';
  });
}

/// What stands between brackets: the characters of an IPv6 address. Whether they are one is for the resolver to say.
bool IsBracketedAddress(std::string_view address) {
  return address.find(':') != std::string_view::npos &&
         std::ranges::all_of(address, [](char c) { return HexDigitValue(c) >= 0 || c == ':' || c == '.'; });
}

/// Takes the host from an authority without user information; ":" and a port may remain.
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

void SplitAuthority(std::string_view authority, PartTexts& texts, URLParts& parts) {
  // Behind the last "@", as no host holds one: what looks like a host before it is not where the URL leads.
  const std::size_t at = authority.rfind('@');
  if (at != std::string_view::npos) {
    texts.userInformation = Slice(authority, 0, at);
    authority.remove_prefix(at + 1);
  }
  texts.host = TakeHost(authority, parts.bHostMalformed);
  parts.lPort = authority.starts_with(':') ? ParsePort(Slice(authority, 1)) : kNoPort;
}

void SplitPath(std::string_view rest, PartTexts& texts) {
  texts.path = TakeUpTo(rest, "?#");
  if (rest.starts_with('?')) {
    rest.remove_prefix(1);
    texts.query = TakeUpTo(rest, "#");
  }
  if (rest.starts_with('#')) texts.fragment = Slice(rest, 1);
}

/// The path with "/" for every backslash.
bool AppendFilePath(std::string_view path, CQBString& result) {
  return std::ranges::all_of(path, [&](char c) { return result.Append(c == '\\' ? '/' : c); });
}

}  // namespace

Status SplitURL(std::string_view text, URLParts& parts) {
  PartTexts texts;
  std::string_view rest = text;
  const std::string_view beginning = TakeUpTo(rest, ":/?#");
  const bool hasScheme = rest.starts_with(':');
  if (hasScheme) {
    texts.scheme = beginning;
    parts.bBadScheme = !IsValidScheme(beginning);
    rest.remove_prefix(1);
  } else {
    rest = text;
  }

  if (rest.starts_with("//")) {
    parts.kind = kURLNetworkPath;
    rest.remove_prefix(2);
    SplitAuthority(TakeUpTo(rest, "/?#"), texts, parts);
    SplitPath(rest, texts);
  } else if (rest.starts_with('/') || !hasScheme) {
    parts.kind = rest.starts_with('/') ? kURLAbsolutePath : kURLRelative;
    SplitPath(rest, texts);
  } else {
    parts.kind = kURLOpaque;
    texts.path = rest;
  }
  return StoreTexts(texts, parts);
}

Status RewriteFileURL(std::string_view text, URLParts& parts) {
  const bool isNetworkPath = parts.kind == kURLNetworkPath;
  const bool hasForeignHost = isNetworkPath && !parts.host.IsEmpty() && parts.host.GetView() != "localhost";
  std::string_view rest = Slice(text, text.find(':') + 1);
  if (isNetworkPath) rest.remove_prefix(2);
  if (isNetworkPath && !hasForeignHost) TakeUpTo(rest, "/?#");
  const std::string_view path = TakeUpTo(rest, "?");
  const std::string_view query = rest.empty() ? rest : Slice(rest, 1);

  // A host that becomes a segment needs the "/" of a path, and so does a path that had none; no path stays none.
  const bool isBare = !isNetworkPath && !path.empty() && path.front() != '/' && path.front() != '\\';
  CQBString filePath;
  const bool made = !(hasForeignHost || isBare) || filePath.Append('/');
  parts.bParseFailed = !made || !AppendFilePath(path, filePath) || !parts.query.Assign(query);
  if (parts.bParseFailed) return kOutOfMemory;

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
  parts.bParseFailed = !Escape(parts.query.GetView(), kQueryCharacters, parts.query) ||
                       !Escape(parts.path.GetView(), kPathCharacters, parts.path);
  return parts.bParseFailed ? kOutOfMemory : kOk;
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
