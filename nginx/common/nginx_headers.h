// nginx's C headers.
#pragma once

extern "C" {
#include <ngx_config.h>
// Requires ngx_config.h.
#include <ngx_core.h>
#include <ngx_event.h>
#include <ngx_thread_pool.h>
}
