#include "JNFoundation/platform/dispatch/LoopHost.h"

#include <algorithm>
#include <utility>

#include <JNFoundation/platform/dispatch/MainQueue.h>
#include <JNFoundation/platform/dispatch/impl/Sleeper.h>
#include <JNFoundation/platform/value/FatalError.h>

namespace JNFoundation::inline v0_1 {
namespace {

Nanoseconds spanUntil(Nanoseconds moment) noexcept {
  if (moment == never) return never;
  const Nanoseconds now = Clock::current().monotonic();
  return moment > now ? moment - now : 0;
}

}  // namespace

LoopHost::LoopHost(Exceptions exceptions)
    : _exceptions(exceptions), _sleeper(std::make_unique<impl::Sleeper>()) {}

LoopHost::~LoopHost() = default;

// The order of the two flags here and in `turn` is such that a wake-up is either seen by the turn
// that is about to come, or makes the loop call another one.
void LoopHost::wakeUp() noexcept {
  _isWoken.store(true);
  _sleeper->wake();
  request();
}

void LoopHost::callAt(Nanoseconds moment) noexcept {
  _moment = moment;
  // Timers come and go by the thousand in one handler; the loop sets its alarm once, afterwards.
  if (_moment != _armed) request();
}

void LoopHost::request() noexcept {
  if (_isRequested.exchange(true)) return;
  const std::lock_guard guard(_mutex);
  if (_isAttached) requestTurn();
}

void LoopHost::detach() noexcept {
  const std::lock_guard guard(_mutex);
  if (std::exchange(_isAttached, false)) releaseLoop();
}

void LoopHost::turn() {
  checkThread();
  if (!_isAttached) return;
  // A task may give the queue another host.
  const std::shared_ptr<MainQueueHost> self = weak_from_this().lock();
  _isRequested.store(false);
  arm();
  if (_isWoken.exchange(false)) serveQueue();
}

void LoopHost::alarm() {
  checkThread();
  if (!_isAttached) return;
  const std::shared_ptr<MainQueueHost> self = weak_from_this().lock();
  _armed = never;
  if (_moment > Clock::current().monotonic()) {
    arm();
  } else {
    // The handler of a timer may run the loop, while other timers are due.
    wakeUp();
    serveQueue();
  }
}

void LoopHost::runTurn(Nanoseconds until) {
  const std::shared_ptr<MainQueueHost> self = weak_from_this().lock();
  const bool mayWait = Clock::isSystemTime();
  if (_isAttached) arm();
  const Ran ran = _isAttached ? runLoop(mayWait ? spanUntil(until) : 0) : Ran::refused;
  if (ran == Ran::events) didRunOther();
  if (ran == Ran::refused || (ran == Ran::nothing && !mayWait)) {
    _sleeper->sleepUntil(std::min(until, _moment));
  }
  // The loop may have run something else than the queue: what is due of that is due in any case.
  const bool isWoken = _isWoken.exchange(false);
  if (isWoken || _moment <= Clock::current().monotonic()) serveQueue();
}

void LoopHost::arm() noexcept {
  if (_armed == _moment) return;
  _armed = _moment;
  setAlarm(Clock::isSystemTime() ? spanUntil(_moment) : never);
}

void LoopHost::serveQueue() {
  if (_exceptions == Exceptions::pass) {
    serve();
  } else {
    serveOrStop();
  }
}

void LoopHost::checkThread() {
  if (MainQueue::isMainThread()) return;
  fatalError("the event loop that hosts the main queue runs on another thread than the main one");
}

}  // namespace JNFoundation
