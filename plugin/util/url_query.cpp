#include "plugin/util/url_query.h"

#include "plugin/util/com_ptr.h"
#include "plugin/util/host_objects.h"
#include "plugin/util/string.h"
#include "plugin/util/text.h"
#include "plugin/util/time_value.h"
#include "plugin/util/url_escape.h"

namespace qbflv {

namespace {

constexpr std::string_view kTimeOptions[] = {"Start", "End", "Delay", "Duration"};
constexpr std::uint32_t kMsPerTenth = 100;

bool IsTimeOption(std::string_view name) {
  return std::ranges::any_of(kTimeOptions, [&](std::string_view known) { return EqualsIgnoringCase(known, name); });
}

/// Removes double quotes that enclose the value, and white space inside them. Returns false on allocation failure.
bool Unquote(CQBString& value, bool& quoted) {
  const std::string_view text = value.GetView();
  quoted = text.size() >= 2 && text.starts_with('"') && text.ends_with('"');
  return !quoted || value.Assign(Trim(Slice(text, 1, text.size() - 2)));
}

Status SetTextOption(const char* name, const CQBString& value, IQBObjectFactory* factory, IQBPropertyList* options) {
  ComPtr<IQBBuffer> buffer;
  const Status status = MakeTextBuffer(factory, value.GetText(), value.GetLength(), buffer);
  return Failed(status) ? status : options->SetBuffer(name, buffer.Get());
}

Status SetOption(std::string_view field, IQBObjectFactory* factory, IQBPropertyList* options) {
  const std::string_view rawName = Slice(field, 0, field.find('='));
  const std::string_view rawValue = Slice(field, rawName.size() + 1);
  CQBString name;
  CQBString value;
  bool quoted = false;
  if (!Unescape(Trim(rawName), name) || !Unescape(Trim(rawValue), value) || !Unquote(value, quoted)) {
    return kOutOfMemory;
  }

  // "%00" may put a NUL into name or value. The host reads a name up to its first NUL, so name and time end there.
  if (IsTimeOption(name.GetText())) {
    return options->SetULONG32(name.GetText(), ParseTimeValue(value.GetText()) * kMsPerTenth);
  }
  if (!quoted && HoldsOnlyDigits(value.GetView())) {
    return options->SetULONG32(name.GetText(), static_cast<std::uint32_t>(ToInteger(value.GetView())));
  }
  return SetTextOption(name.GetText(), value, factory, options);
}

}  // namespace

Status SetQueryOptions(std::string_view query, IQBObjectFactory* factory, IQBPropertyList* options) {
  // Fields are views: CQBString::GetField searches from the start each time, so many fields would take quadratic time.
  for (;;) {
    const std::string_view field = Slice(query, 0, query.find('&'));
    const Status status = SetOption(field, factory, options);
    if (Failed(status)) return status;
    if (field.size() == query.size()) return kOk;
    query.remove_prefix(field.size() + 1);
  }
}

}  // namespace qbflv
