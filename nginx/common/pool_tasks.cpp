// Runs work in one of nginx's thread pools.
#include "nginx/common/pool_tasks.h"

#include <memory>
#include <utility>

namespace qbflv::server {

namespace {

/// Interval in ms of the timer that every pending task has.
constexpr ngx_msec_t kTaskTimer = 60'000;

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
    if (event->timedout != 0) {
      event->timedout = 0;
      ngx_add_timer(event, kTaskTimer);
      return;
    }
    if (event->timer_set != 0) ngx_del_timer(event);
    const std::unique_ptr<Task> finished(static_cast<Task*>(event->data));
    finished->done();
  };
  if (ngx_thread_task_post(m_pool, &task->task) != NGX_OK) return false;
  // A worker that shuts down gracefully exits when it has no timers. Without this one it would drop the requests that
  // wait for the task.
  ngx_add_timer(&task->task.event, kTaskTimer);
  task.release();  // NOLINT(bugprone-unused-return-value): the event's handler owns it
  return true;
}

}  // namespace qbflv::server
