#include "plugin/reader/option_value.h"

#include "plugin/util/com_ptr.h"
#include "plugin/util/host_objects.h"
#include "plugin/util/text.h"

namespace qbflv {

Status FindOption(IQBPropertyList* list, const char* name, OptionValue& value) {
  value = OptionValue();
  if (list == nullptr || name == nullptr) return kFailed;

  Status status = list->GetULONG32(name, &value.number);
  if (Succeeded(status)) {
    value.kind = OptionValue::Kind::kNumber;
    return status;
  }
  ComPtr<IQBBuffer> held;
  status = list->GetCString(name, held.Out());
  if (Succeeded(status)) {
    const std::string_view text = BufferText(held.Get());
    value.kind = HoldsOnlyDigits(text) ? OptionValue::Kind::kNumber : OptionValue::Kind::kText;
    value.number = static_cast<std::uint32_t>(ToInteger(text));
    return status;
  }
  status = list->GetBuffer(name, held.Out());
  if (Succeeded(status)) value.kind = OptionValue::Kind::kBuffer;
  return status;
}

}  // namespace qbflv
