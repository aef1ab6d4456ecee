// Runs work on a thread whose stack is as small as a host's may be.
#pragma once

#include <pthread.h>

#include <functional>
#include <stdexcept>

namespace qbflv::test {

inline void RunOnASmallStack(const std::function<void()>& work) {
  constexpr std::size_t kStackBytes = 128 * 1024;
  pthread_attr_t attributes;
  pthread_attr_init(&attributes);
  pthread_attr_setstacksize(&attributes, kStackBytes);
  const auto run = [](void* argument) -> void* {
    (*static_cast<const std::function<void()>*>(argument))();
    return nullptr;
  };
  pthread_t thread{};
  if (pthread_create(&thread, &attributes, run, const_cast<std::function<void()>*>(&work)) != 0) {
    throw std::runtime_error("no thread");
  }
  pthread_join(thread, nullptr);
  pthread_attr_destroy(&attributes);
}

}  // namespace qbflv::test
