// Runs tasks in a thread pool of nginx.
#include "nginx/common/pool_tasks.h"

#include <memory>
#include <utility>

namespace qbflv::server {

namespace {

struct Task {
  ngx_thread_task_t task{};
  std::function<void()> work;
  std::function<void()> done;
};

}  // namespace

bool PoolTasks::Run(std::function<void()> work, std::function<void()> done) {
  auto task = std::make_unique<Task>();
  task->work = std::move(work);
  task->done = std::move(done);
  task->task.ctx = task.get();
  task->task.handler = [](void* data, ngx_log_t* /*log*/) { static_cast<Task*>(data)->work(); };
  task->task.event.data = task.get();
  task->task.event.log = ngx_cycle->log;
  task->task.event.handler = [](ngx_event_t* event) {
    const std::unique_ptr<Task> finished(static_cast<Task*>(event->data));
    finished->done();
  };
  if (ngx_thread_task_post(m_pool, &task->task) != NGX_OK) return false;
  task.release();  // NOLINT(bugprone-unused-return-value): the event's handler owns it
  return true;
}

}  // namespace qbflv::server
