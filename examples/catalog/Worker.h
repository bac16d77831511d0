#pragma once

#include <thread>
#include <vector>

#include <JNFoundation/platform/value/Block.h>

namespace catalog {

/// Threads of the application, for work that would hold up its main thread. The library starts
/// none.
class Worker {
 public:
  ~Worker() {
    for (std::thread& thread : _threads) thread.join();
  }

  void run(JNFoundation::Block<void()> work) { _threads.emplace_back(std::move(work)); }

 private:
  std::vector<std::thread> _threads;
};

}  // namespace catalog
