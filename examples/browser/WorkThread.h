#pragma once

#include <condition_variable>
#include <deque>
#include <mutex>
#include <thread>

#include <JNFoundation/platform/value/Block.h>

namespace browser {

/// A thread of the application, for what would hold up its main thread: an executor that runs one
/// task after another. The library starts none. Threads: any may give it tasks.
class WorkThread {
 public:
  WorkThread();
  /// Waits for the running task; tasks that have not begun are dropped.
  ~WorkThread();
  WorkThread(const WorkThread&) = delete;
  WorkThread& operator=(const WorkThread&) = delete;

  void execute(JNFoundation::Block<void()> task);

 private:
  void run();

  std::mutex _mutex;
  std::condition_variable _wakes;
  std::deque<JNFoundation::Block<void()>> _tasks;
  bool _isEnding = false;
  std::thread _thread;
};

}  // namespace browser
