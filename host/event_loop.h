// A queue of things to do, run by whoever holds it, on the caller's thread.
#pragma once

#include <deque>
#include <functional>

namespace qbflv::host {

class EventLoop {
 public:
  void Post(std::function<void()> task);

  /// Runs the oldest task; false when there is none.
  bool RunOne();

  /// Drops what is waiting.
  void Clear() { m_tasks.clear(); }

 private:
  std::deque<std::function<void()>> m_tasks;
};

}  // namespace qbflv::host
