#include "JNFoundation/platform/dispatch/NSRunLoop.h"

#include <algorithm>
#include <limits>

#include <JNFoundation/platform/dispatch/MainQueue.h>
#include <JNFoundation/platform/dispatch/MainQueueHost.h>
#include <JNFoundation/platform/dispatch/NSTimer.h>
#include <JNFoundation/platform/dispatch/impl/Sleeper.h>
#include <JNFoundation/platform/dispatch/impl/TimerList.h>
#include <JNFoundation/platform/value/ClassDeclaration.h>
#include <JNFoundation/platform/value/FatalError.h>
#include <JNFoundation/platform/value/NSDate.h>
#include <JNFoundation/platform/value/NSException.h>

namespace JNFoundation::inline v0_1 {
namespace {

const ClassDeclaration<NSRunLoop> declarationOfNSRunLoop =
    ClassDeclaration<NSRunLoop>()
        .classOperation("currentRunLoop", &NSRunLoop::currentRunLoop)
        .classOperation("mainRunLoop", &NSRunLoop::mainRunLoop)
        .property("currentMode", &NSRunLoop::currentMode)
        .operation("runMode:beforeDate:", &NSRunLoop::runModeBeforeDate)
        .operation("runUntilDate:", &NSRunLoop::runUntilDate)
        .operation("run", &NSRunLoop::run)
        .operation("addTimer:forMode:", &NSRunLoop::addTimerForMode)
        .operation("limitDateForMode:", &NSRunLoop::limitDateForMode);

Nanoseconds momentOf(const Value& date) {
  if (!date.isDate()) raise(NSInvalidArgumentException, "a run loop needs a date, not %@", date);
  return Clock::current().momentOfDate(date.timeIntervalSince1970());
}

}  // namespace

constinit const Class NSRunLoop::classObject = Class::of<NSRunLoop>("NSRunLoop");

/// The loop of a thread that is not the main one, as long as the thread lives.
class ThreadRunLoop {
 public:
  ~ThreadRunLoop() {
    if (loop) loop->close();
  }
  Ref<NSRunLoop> loop;
};
static thread_local ThreadRunLoop ownRunLoop;

/// One run: its mode, and that of the run outside it again afterwards.
class NSRunLoop::Run {
 public:
  Run(NSRunLoop& loop, Ref<NSString> mode) : _loop(loop), _outside(std::move(mode)) { swapModes(); }
  ~Run() { swapModes(); }
  Run(const Run&) = delete;
  Run& operator=(const Run&) = delete;

 private:
  void swapModes() noexcept {
    _loop._mode.swap(_outside);
    _loop.timersChanged();
  }

  NSRunLoop& _loop;
  Ref<NSString> _outside;
};

NSRunLoop::NSRunLoop(MainQueue* queue)
    : _queue(queue), _timers(std::make_unique<impl::TimerList>()) {
  if (!queue) _sleeper = std::make_unique<impl::Sleeper>();
}

NSRunLoop::~NSRunLoop() = default;

Ref<NSRunLoop> NSRunLoop::currentRunLoop() {
  if (MainQueue::isMainThread()) return mainRunLoop();
  if (!ownRunLoop.loop) ownRunLoop.loop = makeObject<NSRunLoop>(nullptr);
  return ownRunLoop.loop;
}

Ref<NSRunLoop> NSRunLoop::mainRunLoop() { return Ref<NSRunLoop>(&MainQueue::current().runLoop()); }

bool NSRunLoop::runModeBeforeDate(const Ref<NSString>& mode, const Value& limitDate) {
  const Nanoseconds until = momentOf(limitDate);
  checkThread();
  const Run run(*this, mode);
  runOnce(until);
  return true;
}

void NSRunLoop::runUntilDate(const Value& limitDate) {
  const Nanoseconds until = momentOf(limitDate);
  checkThread();
  const Run run(*this, NSDefaultRunLoopMode);
  while (!runOnce(until) && Clock::current().monotonic() < until) {
  }
}

void NSRunLoop::run() {
  checkThread();
  const Run run(*this, NSDefaultRunLoopMode);
  while (!runOnce(never)) {
  }
}

bool NSRunLoop::runOnce(Nanoseconds until) {
  const std::uint64_t handledBefore = _queue ? _queue->_handledCount : 0;
  for (;;) {
    runTurn(until);
    if (_isStopped.exchange(false)) return true;
    if (_queue && _queue->_handledCount != handledBefore) return false;
    if (Clock::current().monotonic() >= until) return false;
  }
}

void NSRunLoop::runTurn(Nanoseconds until) {
  if (_queue) {
    // A run inside a task goes on with the ones behind it.
    if (_queue->hasBatch()) _queue->wakeUp();
    _queue->_host->runTurn(until);
  } else {
    _sleeper->sleepUntil(std::min(until, nextMoment()));
    fireDueTimers();
  }
}

void NSRunLoop::stop() noexcept {
  _isStopped.store(true);
  if (_sleeper) _sleeper->wake();
  if (_queue) _queue->wakeUp();
}

void NSRunLoop::addTimerForMode(const Ref<NSTimer>& timer, const Ref<NSString>& mode) {
  checkThread();
  if (!timer) raise(NSInvalidArgumentException, "addTimer:forMode: the timer is null");
  if (!mode) raise(NSInvalidArgumentException, "addTimer:forMode: the mode is null");
  if (!timer->_isValid) return;
  if (timer->_runLoop && timer->_runLoop != this) {
    raise(NSInvalidArgumentException, "addTimer:forMode: %@ is in another run loop", timer);
  }
  if (_isClosed) return timer->invalidate();
  const auto isSame = [&](const Ref<NSString>& added) { return added->isEqualToString(mode); };
  if (std::none_of(timer->_modes.begin(), timer->_modes.end(), isSame)) {
    timer->_modes.push_back(mode);
  }
  if (!timer->_runLoop) {
    _timers->add(*timer);
    timer->_runLoop = this;
  }
  timersChanged();
}

Value NSRunLoop::limitDateForMode(const Ref<NSString>& mode) {
  checkThread();
  const Run run(*this, mode);
  runTurn(std::numeric_limits<Nanoseconds>::min());
  const NSTimer* next = _timers->next(_mode);
  return next ? next->fireDate() : NSDate::distantFuture();
}

void NSRunLoop::checkThread() const {
  const bool isOwn = _queue ? MainQueue::isMainThread() : ownRunLoop.loop == this;
  if (!isOwn) fatalError("a run loop and its timers belong to one thread");
}

void NSRunLoop::fireDueTimers() {
  if (_timers->isEmpty()) return;
  const Ref<NSString> mode = timerMode();
  _timers->fireDue(Clock::current().monotonic(), mode);
}

Nanoseconds NSRunLoop::nextMoment() const noexcept {
  if (_timers->isEmpty()) return never;
  const NSTimer* next = _timers->next(timerMode());
  return next ? next->_moment : never;
}

const Ref<NSString>& NSRunLoop::timerMode() const {
  // Outside every run it is the application's event loop that asks.
  static const Ref<NSString> defaultMode = NSString::interned(NSDefaultRunLoopMode);
  return _mode ? _mode : defaultMode;
}

void NSRunLoop::timersChanged() noexcept {
  if (_queue) _queue->deadlineChanged();
}

void NSRunLoop::removeTimer(NSTimer& timer) noexcept {
  _timers->remove(timer);
  timersChanged();
}

void NSRunLoop::rescheduleTimer(NSTimer& timer, Nanoseconds moment) noexcept {
  _timers->reschedule(timer, moment);
  timersChanged();
}

void NSRunLoop::close() noexcept {
  _isClosed = true;
  _timers->clear();
  if (_queue) _queue = nullptr;  // not written where another thread may be about to stop the loop
}

}  // namespace JNFoundation
