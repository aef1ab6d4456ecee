// The HTTP module's configuration.
#pragma once

#include "nginx/http/http_headers.h"

// nginx finds the module by this name.
extern "C" __attribute__((visibility("default"))) ngx_module_t ngx_http_qbflv_module;

namespace qbflv::server {

struct HttpLocation {
  /// Not 0 if start times between key frames are redirected to the key frame.
  ngx_flag_t redirects;
};

const HttpLocation& LocationOf(ngx_http_request_t* r);
/// Returns nginx's own configuration of the location.
ngx_http_core_loc_conf_t& CoreLocationOf(ngx_http_request_t* r);

}  // namespace qbflv::server
