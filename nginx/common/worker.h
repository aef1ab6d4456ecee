// The engine of a worker process and its options.
#pragma once

#include "nginx/common/nginx_headers.h"
#include "nginx/playback/engine.h"

namespace qbflv::server {

/// The options of an http or rtmp block.
struct WorkerOptions {
  /// Path of the plug-in.
  ngx_str_t plugin;
  /// "qbflv_cache" and "qbflv_read_ahead", in bytes.
  size_t films;
  size_t readAhead;
  /// Not 0 if a location or application uses the plug-in.
  ngx_flag_t isUsed;
};

// Handlers that nginx calls.

/// Returns WorkerOptions without values; null on allocation failure.
void* CreateOptions(ngx_conf_t* cf);
/// Sets the defaults of options that the configuration does not contain, and checks the values.
char* CompleteOptions(ngx_conf_t* cf, void* unset);
/// Returns false, and logs the reason, if the plug-in is used and its file cannot be read. A module that knows only
/// after CompleteOptions whether the plug-in is used must call this function then.
bool HasPlugin(ngx_conf_t* cf, const WorkerOptions& options);

/// Creates the engine when a worker starts. If the plug-in cannot be loaded, logs the reason and creates none.
void StartEngine(ngx_cycle_t* cycle, const WorkerOptions& options);
void StopEngine(ngx_cycle_t* cycle);

/// Returns the engine, or null if there is none.
Engine* FindEngine();

}  // namespace qbflv::server
