#pragma once

#include <CoreFoundation/CoreFoundation.h>

#include <JNFoundation/platform/dispatch/LoopHost.h>

namespace JNFoundation::inline v0_1 {

/// The main queue inside the run loop of Core Foundation's main thread, and so of an application's
/// user interface there.
///
/// UNTESTED: never compiled or run by those who wrote it.
///
///     MainQueue::current().setHost(std::make_unique<CFRunLoopHost>());
///
/// It stands in the common modes, so tracking and modal loops serve it too. Core Foundation is C,
/// through which no exception passes: one out of a task or timer stops the process with a message.
/// Threads: the main thread makes the host, and alone runs the loop; any may post.
class CFRunLoopHost final : public LoopHost {
 public:
  CFRunLoopHost() : LoopHost(Exceptions::stop), _loop(CFRunLoopGetMain()) {
    CFRetain(_loop);
    CFRunLoopSourceContext source{};
    source.info = this;
    source.perform = [](void* info) { static_cast<CFRunLoopHost*>(info)->requested(); };
    _source = CFRunLoopSourceCreate(nullptr, 0, &source);
    CFRunLoopAddSource(_loop, _source, kCFRunLoopCommonModes);
    CFRunLoopTimerContext timer{};
    timer.info = this;
    _timer = CFRunLoopTimerCreate(
        nullptr, farAway, farAway, 0, 0,
        [](CFRunLoopTimerRef, void* info) { static_cast<CFRunLoopHost*>(info)->rang(); }, &timer);
    CFRunLoopAddTimer(_loop, _timer, kCFRunLoopCommonModes);
  }
  ~CFRunLoopHost() override {
    detach();
    CFRelease(_source);
    CFRelease(_timer);
    CFRelease(_loop);
  }

 protected:
  void requestTurn() noexcept override {
    CFRunLoopSourceSignal(_source);
    CFRunLoopWakeUp(_loop);
  }

  void setAlarm(Nanoseconds span) noexcept override {
    CFRunLoopTimerSetNextFireDate(
        _timer, span == never ? farAway : CFAbsoluteTimeGetCurrent() + seconds(span));
  }

  Ran runLoop(Nanoseconds span) override {
    _ranOwn = false;
    const auto result =
        CFRunLoopRunInMode(kCFRunLoopDefaultMode, span == never ? farAway : seconds(span), true);
    return result == kCFRunLoopRunHandledSource && !_ranOwn ? Ran::events : Ran::nothing;
  }

  void releaseLoop() noexcept override {
    CFRunLoopSourceInvalidate(_source);
    CFRunLoopTimerInvalidate(_timer);
  }

 private:
  /// In seconds; a timer that must not fire waits for it.
  static constexpr double farAway = 1e10;
  static double seconds(Nanoseconds span) noexcept { return static_cast<double>(span) / 1e9; }

  void requested() {
    _ranOwn = true;
    turn();
  }
  void rang() {
    _ranOwn = true;
    alarm();
  }

  CFRunLoopRef const _loop;
  CFRunLoopSourceRef _source = nullptr;
  CFRunLoopTimerRef _timer = nullptr;
  bool _ranOwn = false;
};

}  // namespace JNFoundation
