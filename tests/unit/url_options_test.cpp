// URLs: how they are taken apart, which of them yield options, and what these are.
#include "plugin/util/url_options.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <string>
#include <utility>

#include "host/buffer.h"
#include "host/context.h"
#include "host/object_factory.h"
#include "host/preferences.h"
#include "host/property_list.h"
#include "host/request.h"
#include "plugin/util/parsed_url.h"
#include "plugin/util/preferences.h"
#include "plugin/util/url_escape.h"
#include "tests/unit/heap_probe.h"

namespace qbflv {
namespace {

ComPtr<IUnknown> MakeContext(ComPtr<IQBObjectFactory> factory, const char* ignoreOptions = nullptr) {
  auto preferences = host::MakeObject<host::Preferences>();
  if (ignoreOptions != nullptr) preferences->SetPref("IgnoreURLOptions", ignoreOptions);
  return host::MakeObject<host::Context>(std::move(factory), preferences.Query<IQBPreferences>()).Query<IUnknown>();
}

ComPtr<IUnknown> MakeContext(const char* ignoreOptions = nullptr) {
  return MakeContext(host::MakeObject<host::ObjectFactory>().Query<IQBObjectFactory>(), ignoreOptions);
}

/// The list as text: "name=12 other='ab'", where a buffer's last byte, its NUL, is left out and any other is "\0".
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
    text += "'";
    for (const auto byte : bytes.first(bytes.size() - 1))
      text += byte == 0 ? "\\0" : std::string(1, static_cast<char>(byte));
    text += "'";
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
    const char* options;
  } cases[] = {
      {"ProcessTimeUnits=25", "ProcessTimeUnits=25"},
      {"Start=1:30.5", "Start=90500"},
      {"start=90", "start=90000"},
      {"Start=1:30.5s", "Start=0"},
      {"End=1&DELAY=2&duration=3&Startx=4", "End=1000 DELAY=2000 duration=3000 Startx=4"},
      {"Start=\"5\"", "Start=5000"},
      {"Start=5%002:0", "Start=5000"},
      {"name=%41bc", "name='Abc'"},
      {"n%61me=%41%zz%4", "name='A%zz%4'"},
      {"x=a%00b&y=1%002", "x='a\\0b' y='1\\02'"},
      {"x=\"12\"", "x='12'"},
      {"x=%22 12 %22", "x='12'"},
      {"x=\"", "x='\"'"},
      {"x=\"\"", "x=''"},
      {"x=%2012", "x=' 12'"},
      {"x=a+b", "x='a+b'"},
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
  const auto context = MakeContext();
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
      {"http://host?x=1", kOk, "x=1"},
      {"http://host:99999999999/p?x=1", kOk, "x=1"},
      {"http:/p?x=1", kOk, "x=1"},
      {"http:p?x=1", kOk, ""},
      {"rtsp:123?x=1", kOk, ""},
      {"http:///p?x=1", kURLBadHost, ""},
      {"qtv://:80/p?x=1", kURLBadHost, ""},
      {"rtspu://user@/p?x=1", kURLBadHost, ""},
      {"http://[::1/p?x=1", kURLBadHost, ""},
      {"http://[::1]x/p?x=1", kURLBadHost, ""},
      {"http://[host]/p?x=1", kURLBadHost, ""},
      {"http://[]/p?x=1", kURLBadHost, ""},
      {"http://[::1]:80/p?x=1", kOk, "x=1"},
      {"http://host:70000/p?x=1", kURLBadPort, ""},
      {"mms://host:65536/p?x=1", kURLBadPort, ""},
      {"mpts:///p?x=1", kOk, "x=1"},
      {"prod://:65536/p?x=1", kURLBadPort, ""},
      {"quelbar-sdp:///p?x=1", kOk, "x=1"},
      {"other://:70000/p?x=1", kOk, "x=1"},
      {"clip.flv?x=1", kURLBadScheme, ""},
      {"/clip.flv?x=1", kURLBadScheme, ""},
      {"//host/clip.flv?x=1", kURLBadScheme, ""},
      {"://host/p?x=1", kURLBadScheme, ""},
      {"1x://host/p?x=1", kURLBadScheme, ""},
      {"a_b://host/p?x=1", kURLBadScheme, ""},
      {"?x=a:b", kURLBadScheme, ""},
      {"", kURLBadScheme, ""},
      {"file:clip.flv?x=1", kOk, "x=1"},
      {"file:/clip.flv?x=1", kOk, "x=1"},
      {"fd://localhost/clip.flv?x=1", kOk, "x=1"},
      {"file://[:70000/clip.flv?x=1", kOk, "x=1"},
      {"file://:70000/clip.flv?x=1", kOk, "x=1"},
      {"file:///a#b?x=1#y", kOk, "x='1#y'"},
      {"file://server?x=1", kOk, "x=1"},
      {"file://localhost?x=1", kURLNoPath, ""},
      {"file:?x=1", kURLNoPath, ""},
      {"file:", kURLNoPath, ""},
      {"http://host/clip.flv$90", kOk, "start=90000"},
      {"http://host/clip.flv$0?x=1", kOk, "x=1"},
      {"http://host/a$b$90", kOk, "start=90000"},
      {"http://host/a$b$1:30", kOk, "start=30000"},  // "b$1:30" is a time as well
      {"http://host/p?x=1$5", kOk, "x='1?start=5'"},
  };
  const auto context = MakeContext();
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
  const auto context = MakeContext();
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

TEST(URLOptions, PreferenceToIgnoreThem_IsANumberOtherThanZero) {
  for (const auto& [value, ignored] : {std::pair("1", true), {"-2", true}, {"0", false}, {"yes", false}, {"", false}}) {
    EXPECT_EQ(OptionsOf("http://host/p?x=1", MakeContext(value).Get()), ignored ? "" : "x=1") << value;
  }
}

TEST(Preferences, NumberIsSet_OnlyWhenBothAnswersAreExactlyZero) {
  class Answers final : public host::ComObject<IQBPreferences> {
   public:
    Answers(Status query, Status read) : m_query(query), m_read(read) {}
    Status QueryInterface(const GUID& id, void** object) override {
      const Status status = ComObject::QueryInterface(id, object);
      return id == IQBPreferences::kId ? m_query : status;
    }
    Status ReadPref(const char*, IQBBuffer** value) override {
      const auto text = host::MakeObject<host::Buffer>();
      EXPECT_EQ(text->Set(reinterpret_cast<const std::uint8_t*>("-127"), 3), kOk);  // neither the 7 nor a NUL
      *value = text.Query<IQBBuffer>().Detach();
      return m_read;
    }

   private:
    Status m_query;
    Status m_read;
  };
  for (const Status query : {kOk, Status{1}}) {
    for (const Status read : {kOk, Status{1}}) {
      std::int64_t value = 7;
      const bool set = ReadIntegerPreference(host::MakeObject<Answers>(query, read).Get(), "Any", value);
      EXPECT_EQ(set, query == kOk && read == kOk) << query << " " << read;
      EXPECT_EQ(value, set ? -12 : 7) << query << " " << read;
    }
  }
}

TEST(URLOptions, MegabytesOfQuery_AreReadFieldByField) {
  std::string url = "http://host/p?";
  for (int i = 0; i < 300000; ++i) url += "&%26";
  url += std::string(1'000'000, '%') + "=" + std::string(1'000'000, '\"');
  const std::string options = OptionsOf(url, MakeContext().Get());
  EXPECT_EQ(options, "=0 &=0 &" + std::string(1'000'000, '%') + "='" + std::string(999'998, '\"') + "'");
}

TEST(URLOptions, WithoutRequestTextOrLists_ThereIsNoList) {
  class Answers final : public host::ComObject<IQBRequest> {
   public:
    explicit Answers(Status status) : m_status(status) {}
    Status GetHeaders(IQBPropertyList**) override { return kNotImplemented; }
    Status GetURL(const char**) override { return m_status; }

   private:
    Status m_status;
  };
  const auto context = MakeContext();
  ComPtr<IQBPropertyList> options = host::MakeObject<host::PropertyList>().Query<IQBPropertyList>();
  EXPECT_EQ(GetURLOptions(nullptr, context.Get(), options), kFailed);
  EXPECT_FALSE(options);
  EXPECT_EQ(GetURLOptions(host::MakeObject<Answers>(kNotImplemented).Get(), context.Get(), options), kNotImplemented);
  EXPECT_EQ(GetURLOptions(host::MakeObject<Answers>(kOk).Get(), context.Get(), options), kFailed);
  EXPECT_EQ(CQBParsedURL(nullptr, context.Get()).GetStatus(), kURLMissing);
  const auto request = host::MakeObject<host::Request>("http://host/p?x=1");
  EXPECT_EQ(GetURLOptions(request.Get(), nullptr, options), kFailed);
  EXPECT_EQ(GetURLOptions(request.Get(), context.Get(), options), kOk);
  EXPECT_EQ(GetURLOptions(request.Get(), MakeContext(ComPtr<IQBObjectFactory>()).Get(), options), kFailed);
  EXPECT_FALSE(options);
}

/// Fails its n-th object and makes lists that refuse one name.
class ReluctantFactory final : public host::ComObject<IQBObjectFactory> {
 public:
  class List final : public host::ComObject<IQBPropertyList> {
   public:
    explicit List(Status refusal) : m_refusal(refusal) {}
    Status QueryInterface(const GUID& id, void** object) override {
      return id == host::PropertyList::kId ? m_list->QueryInterface(id, object) : ComObject::QueryInterface(id, object);
    }
    Status SetULONG32(const char* name, std::uint32_t value) override {
      return name == std::string("bad") ? m_refusal : m_list->SetULONG32(name, value);
    }
    Status SetBuffer(const char* name, IQBBuffer* value) override { return m_list->SetBuffer(name, value); }
    Status GetULONG32(const char*, std::uint32_t*) override { return kNotImplemented; }
    Status GetBuffer(const char*, IQBBuffer**) override { return kNotImplemented; }
    Status SetCString(const char*, IQBBuffer*) override { return kNotImplemented; }
    Status GetCString(const char*, IQBBuffer**) override { return kNotImplemented; }

   private:
    ComPtr<host::PropertyList> m_list = host::MakeObject<host::PropertyList>();
    Status m_refusal;
  };

  ReluctantFactory(int allowed, Status refusal) : m_allowed(allowed), m_refusal(refusal) {}

  Status CreateInstance(const GUID& id, void** object) override {
    *object = nullptr;
    if (m_allowed-- == 0) return m_refusal;
    if (id == IQBPropertyList::kId) return host::MakeObject<List>(m_refusal)->QueryInterface(id, object);
    return host::MakeObject<host::ObjectFactory>()->CreateInstance(id, object);
  }

 private:
  int m_allowed;
  Status m_refusal;
};

TEST(URLOptions, HostThatRefuses_EndsTheOptionsThere) {
  const struct {
    const char* what;
    const char* query;
    const char* options;
    int allowed;
    Status status;
  } cases[] = {
      {"the list of properties", "a=1", "no list", 0, kInvalidState},
      {"the list of options", "a=1", "no list", 1, kInvalidState},
      {"the list made anew", "a=1", "", 2, kOk},
      {"a value's buffer", "a=1&b=x&c=2", "a=1", 3, kOk},
      {"a number", "a=1&bad=2&c=3", "a=1", 9, kOk},
      {"nothing", "a=1&b=x&c=2", "a=1 b='x' c=2", 9, kOk},
  };
  for (const auto& c : cases) {
    for (const Status refusal : {kFailed, kOutOfMemory}) {
      const std::string url = std::string("http://host/p?") + c.query;
      const auto context =
          MakeContext(host::MakeObject<ReluctantFactory>(c.allowed, refusal).Query<IQBObjectFactory>());
      const CQBParsedURL parsed(url.c_str(), context.Get());
      const bool optionsFail = c.status == kOk && std::string(c.what) != "nothing" && refusal == kOutOfMemory;
      EXPECT_EQ(Describe(parsed.GetOptions().Get()), c.options) << c.what;
      EXPECT_EQ(parsed.GetStatus(), optionsFail ? kOutOfMemory : c.status) << c.what;
    }
  }
}

TEST(URLOptions, WithoutMemory_EveryFailedAllocationIsReportedAndTheListIsABeginning) {
  const auto context = MakeContext();
  for (const std::string url : {"http://me@host/a b?b=x&c=2#f$5", "file:a b$5&b=x&c=2"}) {
    const std::string all = OptionsOf(url, context.Get());
    std::size_t allowed = 0;
    for (bool failed = true; failed; ++allowed) {
      const HeapProbe heap(allowed);
      const CQBParsedURL parsed(url.c_str(), context.Get());
      failed = heap.HasRefused();
      EXPECT_EQ(parsed.GetStatus(), failed ? kOutOfMemory : kOk) << url << " after " << allowed;
      const std::string options = Describe(parsed.GetOptions().Get());
      EXPECT_TRUE(options == "no list" || all.starts_with(options)) << options << " after " << allowed;
      EXPECT_EQ(options == all, !failed) << options << " after " << allowed;
    }
    EXPECT_GT(allowed, 20u) << url;
  }
}

TEST(URLEscape, UnescapeAfterEscape_GivesAnyTextBack) {
  std::string text;
  for (int i = 1; i < 256; ++i) text += static_cast<char>(i);
  text += "%%4%";
  CQBString result;
  ASSERT_TRUE(Escape(text, kQueryCharacters, result));
  EXPECT_TRUE(std::ranges::none_of(result.GetView(), [](char c) { return c <= ' ' || c == '"' || c == '|'; }));
  ASSERT_TRUE(Unescape(result.GetView(), result));
  EXPECT_EQ(result.GetView(), text);
}

}  // namespace
}  // namespace qbflv
