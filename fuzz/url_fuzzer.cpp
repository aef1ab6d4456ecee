// URLs and the times in them.
#include <cstring>
#include <string>
#include <string_view>

#include "fuzz/decisions.h"
#include "host/context.h"
#include "host/object_factory.h"
#include "host/preferences.h"
#include "host/request.h"
#include "plugin/util/time_value.h"
#include "plugin/util/url_options.h"

namespace qbflv::fuzz {
namespace {

/// What FindStartTime promises, by trying every place.
std::size_t FindStartTimePlainly(std::string_view text) {
  for (std::size_t i = text.find('$'); i != std::string_view::npos; i = text.find('$', i + 1)) {
    if (ParseTimeValue(text.substr(i + 1)) != 0) return i;
  }
  return std::string_view::npos;
}

ComPtr<IUnknown> MakeContext(bool ignoresOptions) {
  const auto preferences = host::MakeObject<host::Preferences>();
  if (ignoresOptions) preferences->SetPref("IgnoreURLOptions", "1");
  return host::MakeObject<host::Context>(host::MakeObject<host::ObjectFactory>().Query<IQBObjectFactory>(),
                                         preferences.Query<IQBPreferences>())
      .Query<IUnknown>();
}

}  // namespace
}  // namespace qbflv::fuzz

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  using namespace qbflv;
  if (size == 0) return 0;
  // Up to its first NUL, as a host hands it over.
  const std::string url(reinterpret_cast<const char*>(data) + 1,
                        strnlen(reinterpret_cast<const char*>(data) + 1, size - 1));
  const ComPtr<IUnknown> context = fuzz::MakeContext((data[0] & 1) != 0);
  const auto request = host::MakeObject<host::Request>(url);
  ComPtr<IQBPropertyList> options;
  fuzz::Require(GetURLOptions(request.Get(), context.Get(), options) == kOk, "a URL has options, or none");
  fuzz::Require(static_cast<bool>(options), "and there is a list of them");
  // The plain search takes the square of the length.
  if (url.size() <= 512) {
    fuzz::Require(FindStartTime(url) == fuzz::FindStartTimePlainly(url), "the first time behind a $ is found");
  }
  return 0;
}
