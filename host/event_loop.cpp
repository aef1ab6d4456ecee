// A queue of tasks that the caller runs on its own thread.
#include "host/event_loop.h"

#include <utility>

namespace qbflv::host {

void EventLoop::Post(std::function<void()> task) { m_tasks.push_back(std::move(task)); }

bool EventLoop::RunOne() {
  if (m_tasks.empty()) return false;
  const std::function<void()> task = std::move(m_tasks.front());
  m_tasks.pop_front();
  task();
  return true;
}

}  // namespace qbflv::host
