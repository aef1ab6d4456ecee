// URLs: how they are taken apart, which of them yield options, and what these are.
#include "plugin/util/url_options.h"

#include <gtest/gtest.h>

#include <string>

#include "host/buffer.h"
#include "host/context.h"
#include "host/property_list.h"
#include "host/request.h"
#include "plugin/util/parsed_url.h"
#include "plugin/util/preferences.h"

namespace qbflv {
namespace {

using namespace std::string_literals;

/// The list as text: "name=12 other='ab'". A buffer's last byte, its NUL, is left out.
std::string Describe(IQBPropertyList* list) {
  if (list == nullptr) return "no list";
  std::string text;
  for (const host::Property& property : QueryFor<host::PropertyList>(list)->Properties()) {
    text += (text.empty() ? "" : " ") + property.name + "=";
    if (property.kind == host::Property::Kind::kNumber) {
      text += std::to_string(property.number);
      continue;
    }
    EXPECT_EQ(property.kind, host::Property::Kind::kBytes) << property.name;
    const auto bytes = host::BufferBytes(property.buffer.Get());
    EXPECT_FALSE(bytes.empty() || bytes.back() != 0) << property.name;
    text += "'" + std::string(bytes.begin(), bytes.end() - 1) + "'";
  }
  return text;
}

std::string OptionsOf(const std::string& url, IUnknown* context) {
  ComPtr<IQBPropertyList> options;
  EXPECT_EQ(GetURLOptions(host::MakeObject<host::Request>(url).Get(), context, options), kOk) << url;
  return Describe(options.Get());
}

TEST(URLOptions, Queries_BecomeTypedOptions) {
  const struct {
    std::string query;
    std::string options;
  } cases[] = {
      {"ProcessTimeUnits=25", "ProcessTimeUnits=25"},
      {"Start=1:30.5", "Start=90500"},
      {"End=1&DELAY=2&duration=3&Startx=4", "End=1000 DELAY=2000 duration=3000 Startx=4"},
      {"Start=\"5\"", "Start=5000"},
      {"Start=5%002:0", "Start=5000"},
      {"n%61me=%41%zz%4", "name='A%zz%4'"},
      {"x=a%00b&y=1%002", "x='a\0b' y='1\0002'"s},
      {"x=\"12\"", "x='12'"},
      {"x=\"", "x='\"'"},
      {"x=\"\"", "x=''"},
      {"x=%2012", "x=' 12'"},
      {"x=-1&y=+1&z=1.0", "x='-1' y='+1' z='1.0'"},
      {"x=4294967295&y=4294967296", "x=4294967295 y=4294967295"},
      {"x=1=2", "x='1=2'"},
      {"x", "x=0"},
      {"=5", "=5"},
      {"a=1&&b=2&", "a=1 =0 b=2"},
      {"x=1?y=2", "x='1?y=2'"},
      {"x=\xE4\x01|", "x='\xE4\x01|'"},
      {"x=1#y=2", "x=1"},
      {"", ""},
  };
  const auto context = host::MakeContext();
  for (const auto& c : cases)
    EXPECT_EQ(OptionsOf("http://host/clip.flv?" + c.query, context.Get()), c.options) << c.query;
}

TEST(URLOptions, URLs_YieldOptionsByTheirSchemeHostAndPort) {
  const struct {
    const char* url;
    Status status;
    const char* options;
  } cases[] = {
      {"http://host/p?x=1", kOk, "x=1"},
      {"HTTPS://user@host:65535/p?x=1", kOk, "x=1"},
      {"http:/p?x=1", kOk, "x=1"},
      {"http:p?x=1", kOk, ""},
      {"http:///p?x=1", kURLBadHost, ""},
      {"qtv://:80/p?x=1", kURLBadHost, ""},
      {"http://[::1/p?x=1", kURLBadHost, ""},
      {"http://[::1]x/p?x=1", kURLBadHost, ""},
      {"http://[host]/p?x=1", kURLBadHost, ""},
      {"http://[fe80::10.1]:80/p?x=1", kOk, "x=1"},
      {"http://host:70000/p?x=1", kURLBadPort, ""},
      {"mms://host:65536/p?x=1", kURLBadPort, ""},
      {"mpts:///p?x=1", kOk, "x=1"},
      {"quelbar-sdp:///p?x=1", kOk, "x=1"},
      {"other://:70000/p?x=1", kOk, "x=1"},
      {"clip.flv?x=1", kURLBadScheme, ""},
      {"://host/p?x=1", kURLBadScheme, ""},
      {"1x://host/p?x=1", kURLBadScheme, ""},
      {"a_b://host/p?x=1", kURLBadScheme, ""},
      {"?x=a:b", kURLBadScheme, ""},
      {"", kURLBadScheme, ""},
      {"file:clip.flv?x=1", kOk, "x=1"},
      {"fd://localhost/clip.flv?x=1", kOk, "x=1"},
      {"file://[:70000/clip.flv?x=1", kOk, "x=1"},
      {"file:///a#b?x=1#y", kOk, "x='1#y'"},
      {"file://server?x=1", kOk, "x=1"},
      {"file://localhost?x=1", kURLNoPath, ""},
      {"file:?x=1", kURLNoPath, ""},
      {"http://host/clip.flv$90", kOk, "start=90000"},
      {"http://host/clip.flv$0?x=1", kOk, "x=1"},
      {"http://host/a$b$1:30", kOk, "start=30000"},  // "b$1:30" is a time as well
      {"http://host/p?x=1$5", kOk, "x='1?start=5'"},
  };
  const auto context = host::MakeContext();
  for (const auto& c : cases) {
    EXPECT_EQ(OptionsOf(c.url, context.Get()), c.options) << c.url;
    EXPECT_EQ(CQBParsedURL(c.url, context.Get()).GetStatus(), c.status) << c.url;
  }
}

TEST(URLParts, URLs_AreTakenApart) {
  const struct {
    const char* url;
    const char* parts;
  } cases[] = {
      {"Rtspt://me:pw@h@host:8080/a b%20%2/~c?q \"%#f?g",
       "1 4 Rtspt|me:pw@h|host|8080|/a%20b%20%252/~c|q%20%22%25|f?g"},
      {"http://host:2147483647", "1 1 http||host|2147483647|||"},
      {"http://host:2147483648/", "1 1 http||host|-1|/||"},
      {"http://host:8x/", "1 1 http||host|-1|/||"},
      {"http://host:/#", "1 1 http||host|-1|/||"},
      {"http://[fe80::1]:81?q", "1 1 http||[fe80::1]|81||q|"},
      {"https:/p", "2 9 https|||-1|/p||"},
      {"odd+1.2-x:p?q#f", "0 0 odd+1.2-x|||-1|p%3Fq%23f||"},
      {"p?q#f", "3 0 |||-1|p|q|f"},
      {"?a:b", "3 0 |||-1||a:b|"},
      {"//me@host/p", "1 0 |me|host|-1|/p||"},
      {"FILE:C:\\dir\\clip.flv?q#f", "1 7 FILE|||-1|/C:/dir/clip.flv|q%23f|"},
      {"file://server:80/share/x#1?q", "1 7 file|||-1|/server:80/share/x%231|q|"},
      {"file://Localhost/x", "1 7 file|||-1|/Localhost/x||"},
      {"file://localhost/x", "1 7 file||localhost|-1|/x||"},
  };
  const auto context = host::MakeContext();
  for (const auto& c : cases) {
    const CQBParsedURL url(c.url, context.Get());
    const URLParts& parts = url.GetParts();
    std::string text = std::to_string(parts.kind) + " " + std::to_string(parts.ucSchemeCode) + " ";
    for (const CQBString* part : {&parts.scheme, &parts.userInformation, &parts.host})
      text += part->GetText() + std::string("|");
    text += std::to_string(parts.lPort);
    for (const CQBString* part : {&parts.path, &parts.query, &parts.fragment})
      text += std::string("|") + part->GetText();
    EXPECT_EQ(text, c.parts) << c.url;
  }
}

TEST(Preferences, NumberIsSet_OnlyWhenBothStatusesAreExactlyZero) {
  struct Context final : host::ComObject<IQBPreferences> {
    Status QueryInterface(const GUID& id, void** object) override {
      const Status status = ComObject::QueryInterface(id, object);
      return id == IQBPreferences::kId ? query : status;
    }
    Status ReadPref(const char*, IQBBuffer** value) override {
      const auto text = host::MakeObject<host::Buffer>();
      EXPECT_EQ(text->Set(reinterpret_cast<const std::uint8_t*>("-127"), 3), kOk);  // neither the 7 nor a NUL
      *value = text.Query<IQBBuffer>().Detach();
      return read;
    }

    Status query = kOk;
    Status read = kOk;
  };
  const auto context = host::MakeObject<Context>();
  for (context->query = 0; context->query <= 1; ++context->query) {
    for (context->read = 0; context->read <= 1; ++context->read) {
      std::int64_t value = 7;
      const bool isSet = context->query == kOk && context->read == kOk;
      EXPECT_EQ(isSet, ReadIntegerPreference(context.Get(), "Any", value));
      EXPECT_EQ(isSet ? -12 : 7, value);
    }
  }
}

}  // namespace
}  // namespace qbflv
