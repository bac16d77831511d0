#include "WorkThread.h"

namespace browser {

using JNFoundation::Block;

WorkThread::WorkThread() : _thread([this] { run(); }) {}

WorkThread::~WorkThread() {
  std::deque<Block<void()>> dropped;
  {
    const std::lock_guard lock(_mutex);
    _isEnding = true;
    dropped.swap(_tasks);
  }
  _wakes.notify_one();
  _thread.join();
}

void WorkThread::execute(Block<void()> task) {
  {
    const std::lock_guard lock(_mutex);
    if (_isEnding) return;
    _tasks.push_back(std::move(task));
  }
  _wakes.notify_one();
}

void WorkThread::run() {
  std::unique_lock lock(_mutex);
  while (true) {
    _wakes.wait(lock, [this] { return _isEnding || !_tasks.empty(); });
    if (_isEnding) return;
    Block<void()> task = std::move(_tasks.front());
    _tasks.pop_front();
    lock.unlock();
    task();
    task = nullptr;  // what it keeps goes here, outside the lock
    lock.lock();
  }
}

}  // namespace browser
