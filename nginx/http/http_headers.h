// The headers of nginx's HTTP part, which are C.
#pragma once

#include "nginx/common/nginx_headers.h"

extern "C" {
#include <ngx_http.h>

// Of nginx, which has no header for it.
extern ngx_module_t ngx_http_copy_filter_module;
}
