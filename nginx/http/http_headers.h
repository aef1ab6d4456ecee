// The headers of nginx's HTTP part, which are C.
#pragma once

#include "nginx/common/nginx_headers.h"

extern "C" {
#include <ngx_http.h>
}
