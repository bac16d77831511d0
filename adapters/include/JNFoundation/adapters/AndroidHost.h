#pragma once

#include <algorithm>
#include <android/looper.h>
#include <cstdint>
#include <ctime>
#include <limits>
#include <sys/eventfd.h>
#include <sys/timerfd.h>
#include <unistd.h>

#include <JNFoundation/platform/dispatch/LoopHost.h>

namespace JNFoundation::inline v0_1 {

/// The main queue inside the looper of an Android thread, that of the user interface.
///
/// UNTESTED: never compiled or run by those who wrote it.
///
///     MainQueue::adoptCurrentThread();
///     MainQueue::current().setHost(std::make_unique<AndroidHost>());
///
/// The looper is C, through which no exception passes: one out of a task or timer stops the process
/// with a message. The host keeps the looper alive.
/// Threads: the main thread makes the host, and alone runs the looper; any may post.
class AndroidHost final : public LoopHost {
 public:
  AndroidHost()
      : LoopHost(Exceptions::stop),
        _looper(ALooper_prepare(0)),
        _requests(eventfd(0, EFD_CLOEXEC | EFD_NONBLOCK)),
        _alarms(timerfd_create(CLOCK_MONOTONIC, TFD_CLOEXEC | TFD_NONBLOCK)) {
    ALooper_acquire(_looper);
    ALooper_addFd(_looper, _requests, ALOOPER_POLL_CALLBACK, ALOOPER_EVENT_INPUT, &requested, this);
    ALooper_addFd(_looper, _alarms, ALOOPER_POLL_CALLBACK, ALOOPER_EVENT_INPUT, &rang, this);
  }
  ~AndroidHost() override {
    detach();
    close(_requests);
    close(_alarms);
    ALooper_release(_looper);
  }

 protected:
  void requestTurn() noexcept override {
    const std::uint64_t one = 1;
    static_cast<void>(write(_requests, &one, sizeof one));
  }

  void setAlarm(Nanoseconds span) noexcept override {
    itimerspec moment{};  // All zeros stop the timer, so one that is due is set to the least.
    if (span != never) {
      const Nanoseconds due = std::max<Nanoseconds>(span, 1);
      moment.it_value.tv_sec = static_cast<std::time_t>(due / 1'000'000'000);
      moment.it_value.tv_nsec = static_cast<long>(due % 1'000'000'000);
    }
    timerfd_settime(_alarms, 0, &moment, nullptr);
  }

  Ran runLoop(Nanoseconds span) override {
    const Nanoseconds rounded = span / 1'000'000 + (span % 1'000'000 > 0 ? 1 : 0);
    const int limit =
        span == never
            ? -1
            : static_cast<int>(std::min<Nanoseconds>(rounded, std::numeric_limits<int>::max()));
    _ranOwn = false;
    const int result = ALooper_pollOnce(limit, nullptr, nullptr, nullptr);
    if (result == ALOOPER_POLL_ERROR) return Ran::refused;
    return result == ALOOPER_POLL_CALLBACK && !_ranOwn ? Ran::events : Ran::nothing;
  }

  void releaseLoop() noexcept override {
    ALooper_removeFd(_looper, _requests);
    ALooper_removeFd(_looper, _alarms);
  }

 private:
  static constexpr int goOn = 1;

  static int requested(int descriptor, int, void* data) {
    auto* host = static_cast<AndroidHost*>(data);
    host->clear(descriptor);
    host->turn();
    return goOn;
  }
  static int rang(int descriptor, int, void* data) {
    auto* host = static_cast<AndroidHost*>(data);
    host->clear(descriptor);
    host->alarm();
    return goOn;
  }
  void clear(int descriptor) noexcept {
    std::uint64_t count;
    static_cast<void>(read(descriptor, &count, sizeof count));
    _ranOwn = true;
  }

  ALooper* const _looper;
  const int _requests;
  const int _alarms;
  bool _ranOwn = false;
};

}  // namespace JNFoundation
