#pragma once

#include <atomic>
#include <condition_variable>
#include <mutex>
#include <thread>
#include <vector>

namespace JNFoundation::inline v0_1::impl {

/// The work on a store that goes on beside its use, without the coordinator's lock: backups and
/// checks. It looks now and then whether it has to end, because the store is to be closed.
/// Threads: any.
class LongWork {
 public:
  LongWork() = default;
  LongWork(const LongWork&) = delete;
  LongWork& operator=(const LongWork&) = delete;

  /// A piece of work, on the thread that does it.
  class Scope {
   public:
    explicit Scope(LongWork& work) : _work(work) { _work.begin(); }
    ~Scope() { _work.end(); }
    Scope(const Scope&) = delete;
    Scope& operator=(const Scope&) = delete;

   private:
    LongWork& _work;
  };

  bool isUnderWay() const;
  bool isToEnd() const noexcept { return _isToEnd.load(std::memory_order_relaxed); }
  /// Has all of it end and waits for that. Returns: false, and does nothing, when the calling
  /// thread itself is inside such work, and would wait for itself.
  bool endAll();

 private:
  void begin();
  void end() noexcept;

  mutable std::mutex _mutex;
  std::condition_variable _hasEnded;
  std::vector<std::thread::id> _threads;
  std::atomic<bool> _isToEnd = false;
};

}  // namespace JNFoundation::impl
