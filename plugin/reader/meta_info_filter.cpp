#include "plugin/reader/meta_info_filter.h"

#include <algorithm>
#include <limits>
#include <string_view>

#include "plugin/util/host_objects.h"
#include "plugin/util/owned.h"

namespace qbflv {

namespace {

constexpr std::string_view kSeparators = " \t\r\n,;";

/// Sets each name of the text in a list, which the first name makes. Null when no list came about.
Status ListNames(char* text, std::size_t length, IQBObjectFactory* factory, ComPtr<IQBPropertyList>& list) {
  const std::string_view names(text, length);
  std::size_t begin = names.find_first_not_of(kSeparators);
  while (begin != std::string_view::npos) {
    const std::size_t end = std::min(names.find_first_of(kSeparators, begin), length);
    text[end] = '\0';
    if (!list && Failed(CreateObject(factory, list))) list = nullptr;
    if (list) list->SetULONG32(text + begin, 1);
    begin = end < length ? names.find_first_not_of(kSeparators, end + 1) : std::string_view::npos;
  }
  return list ? kOk : kFailed;
}

}  // namespace

Status ReadAcceptMetaInfo(IQBRequest* request, IQBObjectFactory* factory, AcceptMetaInfo& accepted) {
  accepted = AcceptMetaInfo();
  if (request == nullptr || factory == nullptr) return kFailed;
  ComPtr<IQBPropertyList> headers;
  const Status status = request->GetHeaders(headers.Out());
  if (Failed(status) || !headers) return status;
  ComPtr<IQBBuffer> value;
  if (Failed(headers->GetCString("AcceptMetaInfo", value.Out()))) return kOk;

  accepted.requested = true;
  const std::string_view text = BufferText(value.Get());
  if (text == "*") {
    accepted.all = true;
    return kOk;
  }
  if (text.size() >= std::numeric_limits<std::uint32_t>::max()) return kOutOfMemory;
  // A copy, in which each name gets the NUL that the list wants.
  const OwnedArray<char> names = MakeArray<char>(static_cast<std::uint32_t>(text.size()) + 1);
  if (!names) return kOutOfMemory;
  std::ranges::copy(text, names.get());
  return ListNames(names.get(), text.size(), factory, accepted.filter);
}

}  // namespace qbflv
