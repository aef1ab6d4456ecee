// Runs work that may block.
#pragma once

#include <functional>

namespace qbflv::server {

class TaskRunner {
 public:
  TaskRunner() = default;
  TaskRunner(const TaskRunner&) = delete;
  TaskRunner& operator=(const TaskRunner&) = delete;
  virtual ~TaskRunner() = default;

  /// Queues work. Returns false if that fails; then neither function is called. Neither may throw.
  /// work: called once, on any thread. done: called once after work, on the caller's thread, inside the call or later.
  virtual bool Run(std::function<void()> work, std::function<void()> done) = 0;
};

/// Runs both functions inside the call.
class InlineTasks final : public TaskRunner {
 public:
  bool Run(std::function<void()> work, std::function<void()> done) override {
    work();
    done();
    return true;
  }
};

}  // namespace qbflv::server
