// The HTTP module's configuration.
#pragma once

#include "nginx/http/http_headers.h"

// nginx looks it up by its name.
extern "C" __attribute__((visibility("default"))) ngx_module_t ngx_http_qbflv_module;

namespace qbflv::server {

struct HttpLocation {
  /// Whether other start times than a key frame's are redirected to it.
  ngx_flag_t redirects;
};

const HttpLocation& LocationOf(ngx_http_request_t* r);

}  // namespace qbflv::server
