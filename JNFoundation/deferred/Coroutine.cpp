#include "JNFoundation/deferred/Coroutine.h"

#include <exception>

#include <JNFoundation/deferred/impl/Engine.h>

namespace JNFoundation::inline v0_1::impl {

constinit const Class Continuation::classObject = Class::of<Continuation>("Continuation");

namespace {

/// What leaves application code where nobody is to take it goes on to whoever runs the main queue.
void leaveToMainQueue(std::exception_ptr exception) {
  MainQueue::current().async(
      [exception = std::move(exception)] { std::rethrow_exception(exception); });
}

/// Does what may run application code, the handlers of the deferred that is awaited. When one of
/// them throws what is no NSException, the step stays, and goes on behind that handler.
template <class Action>
void run(const Ref<PLVDeferred>& awaited, Action action) {
  try {
    action();
  } catch (...) {
    leaveToMainQueue(std::current_exception());
    MainQueue::current().async([awaited] { awaited->consumeSteps(); });
  }
}

/// Cancels the deferred of a coroutine that will not give it an outcome. What others gave it stays.
void giveUp(PLVDeferred& deferred) {
  if (!deferred.isResolved()) deferred.cancel();
}

/// Adds the continuation to the chain and runs what that leads to.
void attachAndRun(const Ref<PLVDeferred>& awaited, Ref<Continuation> continuation) {
  run(awaited, [&] { Engine::run(Await::attach(*awaited, std::move(continuation))); });
}

}  // namespace

Entry Await::attach(PLVDeferred& deferred, Ref<Continuation> continuation) {
  return deferred.attach(Step(Step::Kind::Continue, Ref<NSObject>(std::move(continuation))));
}

Entry Await::settle(PLVDeferred& deferred, Value outcome) {
  return deferred._cancelled ? Entry() : deferred.settle(std::move(outcome));
}

Entry Await::cancel(PLVDeferred& deferred, const Value& value) {
  if (deferred.isSettledByEngine()) return deferred.beginCancel(value);
  return {Entry::Kind::SendCancel, Ref<NSObject>(&deferred), value};
}

Coroutine::Coroutine(std::coroutine_handle<> frame, CreationPlace place)
    : _frame(frame), _deferred(PLVDeferred::initWithResolutionSource(Value(this), place)) {}

Coroutine::~Coroutine() {
  if (!_deferred) return;
  try {
    if (MainQueue::isMainThread()) {
      giveUp(*_deferred);
    } else {
      MainQueue::current().async([deferred = std::move(_deferred)] { giveUp(*deferred); });
    }
  } catch (...) {
    leaveToMainQueue(std::current_exception());
  }
}

void Coroutine::operator delete(Coroutine* coroutine, std::destroying_delete_t) {
  coroutine->_frame.destroy();
}

bool Coroutine::await(Ref<PLVDeferred> awaited, Value& place) {
  _place = &place;
  if (!MainQueue::isMainThread()) {
    MainQueue::current().async([self = Ref<Coroutine>(this), awaited] {
      run(awaited, [&] { self->setAwaited(awaited); });
    });
    // Once the step is on its way, the main thread may be running the coroutine.
    attachAndRun(awaited, Ref<Continuation>::adopt(this));
    return true;
  }
  _isAttaching = true;
  attachAndRun(awaited, Ref<Continuation>::adopt(this));
  if (_isAttaching) run(awaited, [&] { setAwaited(awaited); });
  // If nobody else has the deferred, it goes at the end of this function, and the frame with it.
  return std::exchange(_isAttaching, false);
}

void Coroutine::setAwaited(const Ref<PLVDeferred>& awaited) {
  _awaited = awaited;
  if (_cancellation) awaited->cancelWithValue(as<PLVRejected>(_cancellation)->value());
}

void Coroutine::finish() noexcept {
  // The thread first: on another one, the main thread may be leaving `proceed`.
  if (MainQueue::isMainThread() && _finished) {
    *std::exchange(_finished, nullptr) = true;
    return;
  }
  const Ref<PLVDeferred> deferred = std::move(_deferred);
  const Value outcome = std::move(_outcome);
  release();
  try {
    deferred->resolve(outcome);
  } catch (...) {
    leaveToMainQueue(std::current_exception());
  }
}

Entry Coroutine::proceed(const Value& value) {
  retain();
  _awaited.reset();
  const Value cancellation = std::exchange(_cancellation, Value());
  *_place = cancellation && !isCancellation(value) ? cancellation : value;
  if (std::exchange(_isAttaching, false)) return {};

  bool finished = false;
  _finished = &finished;
  _frame.resume();
  _finished = nullptr;
  if (!finished) return {};

  const Ref<PLVDeferred> deferred = std::move(_deferred);
  Value outcome = std::move(_outcome);
  // The step still has a reference; the frame goes with it.
  release();
  return Await::settle(*deferred, std::move(outcome));
}

Entry Coroutine::cancelAwaited(const Value& value) {
  _cancellation = PLVRejected::cancellationWithValue(value);
  const Ref<PLVDeferred> awaited = _awaited.load();
  return awaited ? Await::cancel(*awaited, value) : Entry();
}

/// What stands in a chain for a coroutine that is not the library's. It does not own that
/// coroutine's frame; the awaiter in the frame and this tell each other when they go.
class ForeignAwait final : public Continuation {
 public:
  ForeignAwait(Awaiter& awaiter, std::coroutine_handle<> frame) noexcept
      : _awaiter(&awaiter), _frame(frame) {
    awaiter._foreign = this;
  }
  /// The chain died without an outcome; the coroutine has to be told, because others own it.
  ~ForeignAwait() override {
    if (!_awaiter) return;
    deliver(PLVRejected::cancellation());
    try {
      _frame.resume();
    } catch (...) {
      leaveToMainQueue(std::current_exception());
    }
  }

  Entry proceed(const Value& value) override {
    if (!_awaiter) return {};
    deliver(value);
    if (!std::exchange(isAttaching, false)) _frame.resume();
    return {};
  }
  Entry cancelAwaited(const Value&) override { return {}; }
  PLVDeferred* receiver() const noexcept override { return nullptr; }

  void forget() noexcept { _awaiter = nullptr; }

  bool isAttaching = false;

 private:
  void deliver(const Value& value) {
    Awaiter& awaiter = *std::exchange(_awaiter, nullptr);
    awaiter._value = value;
    awaiter._foreign = nullptr;
  }

  Awaiter* _awaiter;
  const std::coroutine_handle<> _frame;
};

bool Awaiter::suspendForeign(Ref<PLVDeferred> awaited, std::coroutine_handle<> handle) {
  Ref<ForeignAwait> foreign = makeObject<ForeignAwait>(*this, handle);
  if (!MainQueue::isMainThread()) {
    attachAndRun(awaited, std::move(foreign));
    return true;
  }
  foreign->isAttaching = true;
  attachAndRun(awaited, foreign);
  return std::exchange(foreign->isAttaching, false);
}

Awaiter::~Awaiter() {
  if (_foreign) _foreign->forget();
}

void Awaiter::raise() const { Rejected::raise(as<PLVRejected>(_value)); }

}  // namespace JNFoundation::impl
