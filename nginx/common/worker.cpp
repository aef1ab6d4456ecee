// The engine of a worker process and its options.
#include "nginx/common/worker.h"

#include <unistd.h>

#include <exception>
#include <string>

#include "host/reference_count.h"
#include "nginx/common/text.h"

namespace qbflv::server {

namespace {

constexpr size_t kDefaultFilms = 64 * 1024 * 1024;
constexpr size_t kDefaultReadAhead = 1024 * 1024;
constexpr size_t kMinReadAhead = 4096;
constexpr size_t kMaxReadAhead = 16 * 1024 * 1024;

/// Not a static object, because static destructors run after the thread-local memory pools of the host are destroyed.
Engine* g_engine = nullptr;

}  // namespace

void* CreateOptions(ngx_conf_t* cf) {
  auto* const options = static_cast<WorkerOptions*>(ngx_pcalloc(cf->pool, sizeof(WorkerOptions)));
  if (options == nullptr) return nullptr;
  options->films = NGX_CONF_UNSET_SIZE;
  options->readAhead = NGX_CONF_UNSET_SIZE;
  return options;
}

char* CompleteOptions(ngx_conf_t* cf, void* unset) {
  auto& options = *static_cast<WorkerOptions*>(unset);
  if (options.plugin.len == 0) options.plugin = StaticText(QBFLV_DEFAULT_PLUGIN);
  ngx_conf_init_size_value(options.films, kDefaultFilms);
  ngx_conf_init_size_value(options.readAhead, kDefaultReadAhead);
  if (options.readAhead < kMinReadAhead || options.readAhead > kMaxReadAhead) {
    ngx_conf_log_error(NGX_LOG_EMERG, cf, 0, "\"qbflv_read_ahead\" must be from 4k to 16m");
    return static_cast<char*>(NGX_CONF_ERROR);
  }
  // Relative to nginx's prefix, like the paths of "load_module".
  const bool isRight = ngx_conf_full_name(cf->cycle, &options.plugin, 0) == NGX_OK && HasPlugin(cf, options);
  return isRight ? NGX_CONF_OK : static_cast<char*>(NGX_CONF_ERROR);
}

bool HasPlugin(ngx_conf_t* cf, const WorkerOptions& options) {
  if (options.isUsed == 0 || access(reinterpret_cast<const char*>(options.plugin.data), R_OK) == 0) return true;
  ngx_conf_log_error(NGX_LOG_EMERG, cf, ngx_errno, R"("qbflv_plugin": cannot read "%V")", &options.plugin);
  return false;
}

void StartEngine(ngx_cycle_t* cycle, const WorkerOptions& options) {
  if (options.isUsed == 0) return;
  // Tasks in other threads do not use reference-counted objects.
  host::ReferenceCount::UseOneThread();
  try {
    const std::string plugin(reinterpret_cast<const char*>(options.plugin.data), options.plugin.len);
    g_engine = new Engine(plugin, options.films, options.readAhead);
  } catch (const std::exception& error) {
    ngx_log_error(NGX_LOG_EMERG, cycle->log, 0, "qbflv: %s", error.what());
  }
}

void StopEngine(ngx_cycle_t* /*cycle*/) {
  delete g_engine;
  g_engine = nullptr;
}

Engine* FindEngine() { return g_engine; }

}  // namespace qbflv::server
