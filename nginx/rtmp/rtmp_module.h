// The RTMP module's configuration.
#pragma once

#include "nginx/rtmp/rtmp_headers.h"

// nginx looks it up by its name.
extern "C" __attribute__((visibility("default"))) ngx_module_t ngx_rtmp_qbflv_module;

namespace qbflv::server {

/// Of an application.
struct RtmpApplication {
  ngx_flag_t isOn;
};

bool IsOn(ngx_rtmp_session_t* s);

/// The pool that reads for RTMP; null outside a worker.
ngx_thread_pool_t* ReadingPool();

}  // namespace qbflv::server
