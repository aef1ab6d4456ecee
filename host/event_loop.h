// A queue of tasks that the caller runs on its own thread.
#pragma once

#include <deque>
#include <functional>

namespace qbflv::host {

class EventLoop {
 public:
  void Post(std::function<void()> task);

  /// Runs the oldest task. Returns false when there is none.
  bool RunOne();

  /// Drops all pending tasks.
  void Clear() { m_tasks.clear(); }

 private:
  std::deque<std::function<void()>> m_tasks;
};

}  // namespace qbflv::host
