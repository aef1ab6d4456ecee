// The C headers of nginx's HTTP server.
#pragma once

#include "nginx/common/nginx_headers.h"

extern "C" {
#include <ngx_http.h>

// Defined by nginx, which declares it in no header.
extern ngx_module_t ngx_http_copy_filter_module;
}
