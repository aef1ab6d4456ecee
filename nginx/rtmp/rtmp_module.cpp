// The RTMP module: its directives and handlers.
#include "nginx/rtmp/rtmp_module.h"

#include "nginx/common/text.h"
#include "nginx/common/worker.h"
#include "nginx/rtmp/film_format.h"

extern "C" {
// nginx finds the module by these names.
extern __attribute__((visibility("default"))) ngx_module_t* ngx_modules[];
extern __attribute__((visibility("default"))) char* ngx_module_names[];
extern __attribute__((visibility("default"))) char* ngx_module_order[];
}

namespace qbflv::server {

namespace {

/// The options of the configuration that is being read. Invalid afterwards, because nginx frees a configuration that it
/// rejects or replaces.
WorkerOptions* g_options = nullptr;
/// The pool of this worker.
ngx_thread_pool_t* g_pool = nullptr;

void* CreateAndKeepOptions(ngx_conf_t* cf) {
  g_options = static_cast<WorkerOptions*>(CreateOptions(cf));
  return g_options;
}

void* CreateApplication(ngx_conf_t* cf) {
  auto* const application = static_cast<RtmpApplication*>(ngx_pcalloc(cf->pool, sizeof(RtmpApplication)));
  if (application != nullptr) application->isOn = NGX_CONF_UNSET;
  return application;
}

char* MergeApplication(ngx_conf_t* /*cf*/, void* outer, void* inner) {
  auto& application = *static_cast<RtmpApplication*>(inner);
  ngx_conf_merge_value(application.isOn, static_cast<RtmpApplication*>(outer)->isOn, 0);
  if (application.isOn != 0) g_options->isUsed = 1;
  return NGX_CONF_OK;
}

/// Replaces the built-in FLV format. The play module would ignore a second format for ".flv".
ngx_int_t ReplaceFormat(ngx_conf_t* cf) {
  if (g_options->isUsed == 0) return NGX_OK;
  if (!HasPlugin(cf, *g_options)) return NGX_ERROR;
  if (ngx_thread_pool_add(cf, nullptr) == nullptr) return NGX_ERROR;
  void* const play = ngx_rtmp_conf_get_module_main_conf(cf, ngx_rtmp_play_module);
  const ngx_array_t& formats = static_cast<ngx_rtmp_play_main_conf_t*>(play)->fmts;
  auto** const format = static_cast<ngx_rtmp_play_fmt_t**>(formats.elts);
  for (ngx_uint_t i = 0; i < formats.nelts; ++i) {
    if (ViewOf(format[i]->name) != "flv-format") continue;
    format[i] = WrapFormat(format[i]);
    GuardPlay();
    return NGX_OK;
  }
  ngx_conf_log_error(NGX_LOG_EMERG, cf, 0, "qbflv: nginx's RTMP module has no FLV format");
  return NGX_ERROR;
}

ngx_int_t InitProcess(ngx_cycle_t* cycle) {
  void* const context = ngx_get_conf(cycle->conf_ctx, ngx_rtmp_module);
  if (context == nullptr) return NGX_OK;
  void* const options = static_cast<ngx_rtmp_conf_ctx_t*>(context)->main_conf[ngx_rtmp_qbflv_module.ctx_index];
  ngx_str_t name = StaticText("default");
  g_pool = ngx_thread_pool_get(cycle, &name);
  if (options != nullptr && g_pool != nullptr) StartEngine(cycle, *static_cast<WorkerOptions*>(options));
  return NGX_OK;
}

ngx_command_t g_commands[] = {
    {StaticText("qbflv"), NGX_RTMP_MAIN_CONF | NGX_RTMP_SRV_CONF | NGX_RTMP_APP_CONF | NGX_CONF_FLAG,
     ngx_conf_set_flag_slot, NGX_RTMP_APP_CONF_OFFSET, offsetof(RtmpApplication, isOn), nullptr},
    {StaticText("qbflv_plugin"), NGX_RTMP_MAIN_CONF | NGX_CONF_TAKE1, ngx_conf_set_str_slot, NGX_RTMP_MAIN_CONF_OFFSET,
     offsetof(WorkerOptions, plugin), nullptr},
    {StaticText("qbflv_cache"), NGX_RTMP_MAIN_CONF | NGX_CONF_TAKE1, ngx_conf_set_size_slot, NGX_RTMP_MAIN_CONF_OFFSET,
     offsetof(WorkerOptions, films), nullptr},
    {StaticText("qbflv_read_ahead"), NGX_RTMP_MAIN_CONF | NGX_CONF_TAKE1, ngx_conf_set_size_slot,
     NGX_RTMP_MAIN_CONF_OFFSET, offsetof(WorkerOptions, readAhead), nullptr},
    ngx_null_command};

ngx_rtmp_module_t g_context = {nullptr, ReplaceFormat, CreateAndKeepOptions, CompleteOptions,
                               nullptr, nullptr,       CreateApplication,    MergeApplication};

char g_name[] = "ngx_rtmp_qbflv_module";

}  // namespace

bool IsOn(ngx_rtmp_session_t* s) {
  const void* const application = ngx_rtmp_get_module_app_conf(s, ngx_rtmp_qbflv_module);
  return application != nullptr && static_cast<const RtmpApplication*>(application)->isOn != 0;
}

ngx_thread_pool_t* ReadingPool() { return g_pool; }

}  // namespace qbflv::server

ngx_module_t ngx_rtmp_qbflv_module = {NGX_MODULE_V1,
                                      &qbflv::server::g_context,
                                      qbflv::server::g_commands,
                                      NGX_RTMP_MODULE,
                                      nullptr,
                                      nullptr,
                                      qbflv::server::InitProcess,
                                      nullptr,
                                      nullptr,
                                      qbflv::server::StopEngine,
                                      nullptr,
                                      NGX_MODULE_V1_PADDING};
ngx_module_t* ngx_modules[] = {&ngx_rtmp_qbflv_module, nullptr};
char* ngx_module_names[] = {qbflv::server::g_name, nullptr};
char* ngx_module_order[] = {nullptr};
