#include <algorithm>
#include <cmath>

#include <JNFoundation/deferred/DeferredCombinators.h>
#include <JNFoundation/deferred/impl/Combination.h>
#include <JNFoundation/platform/dispatch/Random.h>
#include <JNFoundation/platform/value/FatalError.h>

namespace JNFoundation::inline v0_1 {
namespace {

class Retry : public impl::Combination {
 protected:
  Retry(Block<Value(NSUInteger attempt)> work, RetryOptions options)
      : _work(std::move(work)), _options(std::move(options)) {}

  void start() override { attempt(); }

  void didSettle(std::size_t, const Value& outcome) override {
    _current.reset();
    didFinish(outcome);
  }

  void cancelWork(const Value& value) override {
    if (const Ref<PLVDeferred> current = _current.load()) current->cancelWithValue(value);
  }

 private:
  void attempt() {
    if (isOver()) return;
    ++_attempt;
    const Value outcome = outcomeOf([&] { return _work(_attempt); });
    auto* deferred = as<PLVDeferred>(outcome);
    if (!deferred) return didFinish(outcome);
    // The block may have cancelled the result.
    if (isOver()) return deferred->cancel();
    _current = deferred;
    observe(*deferred, 0);
  }

  void didFinish(const Value& outcome) {
    if (isOver()) return;
    auto* rejected = as<PLVRejected>(outcome);
    if (!rejected || rejected->isCancellation() || _attempt >= _options.attempts) {
      return settle(outcome);
    }
    if (_options.shouldRetry) {
      const Value answer =
          outcomeOf([&]() -> Value { return _options.shouldRetry(Ref<PLVRejected>(rejected)); });
      if (!answer.isBoolean()) return settle(answer);  // it raised
      if (!answer.boolValue()) return settle(outcome);
    }
    waitForNext();
  }

  void waitForNext() {
    const Ref<PLVDeferred> pause = PLVDeferred::withResolvedDelayInterval(nullptr, nextDelay());
    _current = pause;
    const Ref<Retry> self(this);
    pause->thenResolved([self](const Value&) -> Value {
      self->attempt();
      return nullptr;
    });
  }

  NSTimeInterval nextDelay() const {
    const double grown =
        _options.delay * std::pow(_options.factor, static_cast<double>(_attempt - 1));
    const double chance = static_cast<double>(arc4random()) / 0x1p32;
    // In this order what is no number counts as the longest delay.
    return std::min(_options.longestDelay, grown) * (1 - _options.jitter * chance);
  }

  const Block<Value(NSUInteger attempt)> _work;
  const RetryOptions _options;
  NSUInteger _attempt = 0;
  /// The attempt that runs, or the wait for the next one.
  Weak<PLVDeferred> _current;
};

}  // namespace

Ref<PLVDeferred> retry(Block<Value(NSUInteger attempt)> work, RetryOptions options,
                       CreationPlace place) {
  if (!work) fatalError("retry: the block must not be null");
  return makeObject<Retry>(std::move(work), std::move(options))->begin(place);
}

}  // namespace JNFoundation
