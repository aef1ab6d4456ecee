// Runs work in one of nginx's thread pools.
#pragma once

#include "nginx/common/nginx_headers.h"
#include "nginx/playback/task_runner.h"

namespace qbflv::server {

class PoolTasks final : public TaskRunner {
 public:
  explicit PoolTasks(ngx_thread_pool_t* pool) : m_pool(pool) {}

  bool Run(std::function<void()> work, std::function<void()> done) override;

 private:
  ngx_thread_pool_t* const m_pool;
};

}  // namespace qbflv::server
