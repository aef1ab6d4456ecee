// The engine of a worker process, and how its options are configured.
#pragma once

#include "nginx/common/nginx_headers.h"
#include "nginx/playback/engine.h"

namespace qbflv::server {

/// Of the whole http or rtmp block.
struct WorkerOptions {
  /// The plug-in's path.
  ngx_str_t plugin;
  /// Bytes.
  size_t films;
  size_t readAhead;
  /// Whether a location or application uses the plug-in.
  ngx_flag_t isUsed;
};

// As nginx calls them, with WorkerOptions.

/// Null without memory.
void* CreateOptions(ngx_conf_t* cf);
/// Gives a value to what the configuration leaves open.
char* CompleteOptions(ngx_conf_t* cf, void* unset);

/// Once in each worker. A plug-in that cannot be loaded is logged; FindEngine then returns null.
void StartEngine(ngx_cycle_t* cycle, const WorkerOptions& options);
void StopEngine(ngx_cycle_t* cycle);
Engine* FindEngine();

}  // namespace qbflv::server
