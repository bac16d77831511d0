#include "JNFoundation/platform/store/impl/LongWork.h"

#include <algorithm>

namespace JNFoundation::inline v0_1::impl {

void LongWork::begin() {
  const std::lock_guard guard(_mutex);
  _threads.push_back(std::this_thread::get_id());
}

void LongWork::end() noexcept {
  const std::lock_guard guard(_mutex);
  _threads.erase(std::find(_threads.begin(), _threads.end(), std::this_thread::get_id()));
  _hasEnded.notify_all();
}

bool LongWork::isUnderWay() const {
  const std::lock_guard guard(_mutex);
  return !_threads.empty();
}

bool LongWork::endAll() {
  std::unique_lock guard(_mutex);
  if (std::find(_threads.begin(), _threads.end(), std::this_thread::get_id()) != _threads.end()) {
    return false;
  }
  while (!_threads.empty()) {
    _isToEnd.store(true, std::memory_order_relaxed);
    _hasEnded.wait(guard);
  }
  _isToEnd.store(false, std::memory_order_relaxed);
  return true;
}

}  // namespace JNFoundation::impl
