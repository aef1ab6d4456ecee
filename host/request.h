// A client's request: a URL and headers.
#pragma once

#include <string>

#include "host/com_object.h"
#include "host/property_list.h"

namespace qbflv::host {

class Request final : public ComObject<IQBRequest> {
 public:
  explicit Request(std::string url) : m_url(std::move(url)) {}

  /// Returns the list that GetHeaders returns. Fill it before passing the request to the plug-in.
  PropertyList& Headers() { return *m_headers; }

  Status GetHeaders(IQBPropertyList** headers) override {
    if (headers == nullptr) return kInvalidArgument;
    *headers = ComPtr<PropertyList>(m_headers).Detach();
    return kOk;
  }

  Status GetURL(const char** url) override {
    if (url == nullptr) return kInvalidArgument;
    *url = m_url.c_str();
    return kOk;
  }

 private:
  std::string m_url;
  ComPtr<PropertyList> m_headers = MakeObject<PropertyList>();
};

}  // namespace qbflv::host
