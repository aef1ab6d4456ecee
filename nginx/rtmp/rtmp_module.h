// The RTMP module's configuration.
#pragma once

#include "nginx/rtmp/rtmp_headers.h"

// nginx finds the module by this name.
extern "C" __attribute__((visibility("default"))) ngx_module_t ngx_rtmp_qbflv_module;

namespace qbflv::server {

/// The options of an application.
struct RtmpApplication {
  ngx_flag_t isOn;
};

/// Returns true if the application of a session has "qbflv on".
bool IsOn(ngx_rtmp_session_t* s);

/// Returns the thread pool that reads films for RTMP; null outside a worker.
ngx_thread_pool_t* ReadingPool();

}  // namespace qbflv::server
