// The HTTP module: its directives and handlers.
#include "nginx/http/http_module.h"

#include "nginx/common/text.h"
#include "nginx/common/worker.h"
#include "nginx/http/film_handler.h"

extern "C" {
// nginx finds the module by these names.
extern __attribute__((visibility("default"))) ngx_module_t* ngx_modules[];
extern __attribute__((visibility("default"))) char* ngx_module_names[];
extern __attribute__((visibility("default"))) char* ngx_module_order[];
}

namespace qbflv::server {

namespace {

WorkerOptions& OptionsOf(ngx_conf_t* cf) {
  void* const options = ngx_http_conf_get_module_main_conf(cf, ngx_http_qbflv_module);
  return *static_cast<WorkerOptions*>(options);
}

void* CreateLocation(ngx_conf_t* cf) {
  auto* const location = static_cast<HttpLocation*>(ngx_pcalloc(cf->pool, sizeof(HttpLocation)));
  if (location != nullptr) location->redirects = NGX_CONF_UNSET;
  return location;
}

char* MergeLocation(ngx_conf_t* /*cf*/, void* outer, void* inner) {
  auto& location = *static_cast<HttpLocation*>(inner);
  ngx_conf_merge_value(location.redirects, static_cast<HttpLocation*>(outer)->redirects, 1);
  return NGX_CONF_OK;
}

/// Handles the directive "qbflv". Nested locations do not inherit the handler, as with nginx's own "flv" and "mp4".
char* SetHandler(ngx_conf_t* cf, ngx_command_t* /*command*/, void* /*location*/) {
  void* const core = ngx_http_conf_get_module_loc_conf(cf, ngx_http_core_module);
  static_cast<ngx_http_core_loc_conf_t*>(core)->handler = HandleFilmRequest;
  OptionsOf(cf).isUsed = 1;
  return NGX_CONF_OK;
}

ngx_int_t InitProcess(ngx_cycle_t* cycle) {
  if (ngx_get_conf(cycle->conf_ctx, ngx_http_module) == nullptr) return NGX_OK;
  void* const options = ngx_http_cycle_get_module_main_conf(cycle, ngx_http_qbflv_module);
  if (options != nullptr) StartEngine(cycle, *static_cast<WorkerOptions*>(options));
  return NGX_OK;
}

ngx_command_t g_commands[] = {
    {StaticText("qbflv"), NGX_HTTP_LOC_CONF | NGX_CONF_NOARGS, SetHandler, NGX_HTTP_LOC_CONF_OFFSET, 0, nullptr},
    {StaticText("qbflv_redirect"), NGX_HTTP_MAIN_CONF | NGX_HTTP_SRV_CONF | NGX_HTTP_LOC_CONF | NGX_CONF_FLAG,
     ngx_conf_set_flag_slot, NGX_HTTP_LOC_CONF_OFFSET, offsetof(HttpLocation, redirects), nullptr},
    {StaticText("qbflv_plugin"), NGX_HTTP_MAIN_CONF | NGX_CONF_TAKE1, ngx_conf_set_str_slot, NGX_HTTP_MAIN_CONF_OFFSET,
     offsetof(WorkerOptions, plugin), nullptr},
    {StaticText("qbflv_cache"), NGX_HTTP_MAIN_CONF | NGX_CONF_TAKE1, ngx_conf_set_size_slot, NGX_HTTP_MAIN_CONF_OFFSET,
     offsetof(WorkerOptions, films), nullptr},
    {StaticText("qbflv_read_ahead"), NGX_HTTP_MAIN_CONF | NGX_CONF_TAKE1, ngx_conf_set_size_slot,
     NGX_HTTP_MAIN_CONF_OFFSET, offsetof(WorkerOptions, readAhead), nullptr},
    ngx_null_command};

ngx_http_module_t g_context = {nullptr, nullptr, CreateOptions,  CompleteOptions,
                               nullptr, nullptr, CreateLocation, MergeLocation};

char g_name[] = "ngx_http_qbflv_module";

}  // namespace

const HttpLocation& LocationOf(ngx_http_request_t* r) {
  void* const location = ngx_http_get_module_loc_conf(r, ngx_http_qbflv_module);
  return *static_cast<HttpLocation*>(location);
}

ngx_http_core_loc_conf_t& CoreLocationOf(ngx_http_request_t* r) {
  void* const location = ngx_http_get_module_loc_conf(r, ngx_http_core_module);
  return *static_cast<ngx_http_core_loc_conf_t*>(location);
}

}  // namespace qbflv::server

ngx_module_t ngx_http_qbflv_module = {NGX_MODULE_V1,
                                      &qbflv::server::g_context,
                                      qbflv::server::g_commands,
                                      NGX_HTTP_MODULE,
                                      nullptr,
                                      nullptr,
                                      qbflv::server::InitProcess,
                                      nullptr,
                                      nullptr,
                                      qbflv::server::StopEngine,
                                      nullptr,
                                      NGX_MODULE_V1_PADDING};
ngx_module_t* ngx_modules[] = {&ngx_http_qbflv_module, nullptr};
char* ngx_module_names[] = {qbflv::server::g_name, nullptr};
char* ngx_module_order[] = {nullptr};
