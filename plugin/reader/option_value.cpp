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
    value.isNumber = true;
    return status;
  }
  ComPtr<IQBBuffer> held;
  status = list->GetCString(name, held.Out());
  if (Succeeded(status)) {
    const std::string_view text = BufferText(held.Get());
    value.isNumber = HoldsOnlyDigits(text);
    value.number = static_cast<std::uint32_t>(ToInteger(text));
    return status;
  }
  return list->GetBuffer(name, held.Out());
}

}  // namespace qbflv
