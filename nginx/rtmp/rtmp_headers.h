// The C headers of nginx's RTMP module.
#pragma once

#include "nginx/common/nginx_headers.h"

extern "C" {
#include <ngx_rtmp.h>
// Requires ngx_rtmp.h.
#include <ngx_rtmp_cmd_module.h>
#include <ngx_rtmp_play_module.h>
#include <ngx_rtmp_streams.h>

// Defined by nginx's RTMP module, which declares it in no header.
extern ngx_module_t ngx_rtmp_module;
}
