// The headers of nginx, which are C.
#pragma once

extern "C" {
#include <ngx_config.h>
// Needs the one above.
#include <ngx_core.h>
#include <ngx_event.h>
#include <ngx_thread_pool.h>
}
