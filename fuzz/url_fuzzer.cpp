// Parses URLs and the times in them, and compares the times with simple models.
#include <algorithm>
#include <cstring>
#include <string>
#include <string_view>
#include <vector>

#include "fuzz/target.h"
#include "host/context.h"
#include "host/request.h"
#include "plugin/util/text.h"
#include "plugin/util/time_value.h"
#include "plugin/util/url_options.h"

namespace qbflv::fuzz {
namespace {

/// Parses days:hours:minutes:seconds.tenths, field by field.
std::uint32_t ModelTime(std::string_view text) {
  std::vector<std::string_view> fields(1);
  for (std::size_t begin = 0;;) {
    const std::size_t end = text.find(':', begin);
    fields.back() = text.substr(begin, end - begin);
    if (end == std::string_view::npos) break;
    fields.emplace_back();
    begin = end + 1;
  }
  if (fields.size() > 4) return 0;
  std::uint32_t time = 0;
  for (std::size_t i = 0; i < fields.size(); ++i) {
    const bool isHours = fields.size() == 4 && i == 1;
    time = time * (isHours ? 24 : 60) + static_cast<std::uint32_t>(ToInteger(fields[i]));
  }
  time *= 10;
  const std::size_t dot = fields.back().find('.');
  if (dot == std::string_view::npos) return time;
  const std::string_view tenths = fields.back().substr(dot + 1);
  if (std::any_of(tenths.begin(), tenths.end(), IsLetter)) return 0;
  const auto digit = std::find_if(tenths.begin(), tenths.end(), IsDigit);
  return digit == tenths.end() ? time : time + static_cast<std::uint32_t>(*digit - '0');
}

/// Finds the start time as FindStartTime does, but tries every position.
std::size_t ModelStartTime(std::string_view text) {
  for (std::size_t i = text.find('$'); i != std::string_view::npos; i = text.find('$', i + 1)) {
    if (ModelTime(text.substr(i + 1)) != 0) return i;
  }
  return std::string_view::npos;
}

}  // namespace

void TryUrl(Input input) {
  if (input.empty()) return;
  // The URL ends at its first NUL, as in a C string.
  const auto* const text = reinterpret_cast<const char*>(input.data()) + 1;
  const std::string url(text, strnlen(text, input.size() - 1));
  host::NamedTexts preferences;
  if ((input[0] & 1) != 0) preferences.emplace_back("IgnoreURLOptions", "1");
  const auto context = host::MakeContext(preferences);
  const auto request = host::MakeObject<host::Request>(url);
  ComPtr<IQBPropertyList> options;
  Require(GetURLOptions(request.Get(), context.Get(), options) == kOk, "every URL can be parsed");
  Require(static_cast<bool>(options), "there is always a list of options");
  Require(ParseTimeValue(url) == ModelTime(url), "a time is that of the model");
  // The model's search takes quadratic time.
  if (url.size() <= 512) Require(FindStartTime(url) == ModelStartTime(url), "the first time after a $ is found");
}

}  // namespace qbflv::fuzz
