// Where work runs that may block.
#pragma once

#include <functional>

namespace qbflv::server {

class TaskRunner {
 public:
  TaskRunner() = default;
  TaskRunner(const TaskRunner&) = delete;
  TaskRunner& operator=(const TaskRunner&) = delete;
  virtual ~TaskRunner() = default;

  /// work: called once, on any thread. done: called once afterwards, on the caller's thread, inside the call or later.
  /// Neither may throw. False if the work cannot be queued: then neither is called.
  virtual bool Run(std::function<void()> work, std::function<void()> done) = 0;
};

/// Runs everything inside the call.
class InlineTasks final : public TaskRunner {
 public:
  bool Run(std::function<void()> work, std::function<void()> done) override {
    work();
    done();
    return true;
  }
};

}  // namespace qbflv::server
