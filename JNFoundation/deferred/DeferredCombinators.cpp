#include "JNFoundation/deferred/DeferredCombinators.h"

#include <vector>

#include <JNFoundation/deferred/JNTimeout.h>
#include <JNFoundation/deferred/impl/Combination.h>
#include <JNFoundation/platform/value/NSArray.h>

namespace JNFoundation::inline v0_1 {
namespace {

/// Cancels the work when its time is up, or when the result is cancelled.
class LimitedWork : public impl::Combination {
 protected:
  LimitedWork(const Ref<PLVDeferred>& work, NSTimeInterval seconds)
      : _work(work), _seconds(seconds) {}

  void start() override {
    const Ref<LimitedWork> self(this);
    if (const Ref<PLVDeferred> work = _work.load()) observe(*work, 0);
    PLVDeferred::withResolvedDelayInterval(nullptr, _seconds)
        ->thenResolved([self](const Value&) -> Value {
          self->timeIsUp();
          return nullptr;
        });
  }

  void didSettle(std::size_t, const Value& outcome) override { settle(outcome); }

  void cancelWork(const Value& value) override {
    if (const Ref<PLVDeferred> work = _work.load()) work->cancelWithValue(value);
  }

 private:
  void timeIsUp() {
    if (isOver()) return;
    const Value timeout = JNTimeout::instance();
    settle(PLVRejected::withValue(timeout));
    cancelWork(timeout);
  }

  const Weak<PLVDeferred> _work;
  const NSTimeInterval _seconds;
};

/// Collects the outcomes of all inputs, until enough is known.
class Gathering : public impl::Combination {
 public:
  enum class Goal { AllResolved, AnyResolved, FirstResolved, AllSettled };

 protected:
  Gathering(const NSArray& inputs, Goal goal, Unneeded unneeded)
      : _goal(goal), _unneeded(unneeded), _waiting(inputs.count()) {
    _outcomes.reserve(_waiting);
    _inputs.reserve(_waiting);
    for (const Value& input : inputs) {
      _outcomes.push_back(waitable(input));
      _inputs.emplace_back(as<PLVDeferred>(_outcomes.back()));
    }
  }

  void start() override {
    for (std::size_t index = 0; index < _inputs.size(); ++index) {
      _observed = index + 1;
      // Until it settles, an input stands in the place of its outcome; now only weakly.
      const Value input = std::exchange(_outcomes[index], Value());
      auto* deferred = as<PLVDeferred>(input);
      if (!deferred) {
        didSettle(index, input);
      } else if (!isOver()) {
        observe(*deferred, index);
      }
    }
  }

  void cancelWork(const Value& value) override {
    for (std::size_t index = 0; index < _inputs.size(); ++index) {
      const Ref<PLVDeferred> input = _inputs[index].load();
      if (!input) continue;
      // One that has settled and was not looked at yet keeps its outcome.
      const bool mayBeSettled = index >= _observed && input->isResolved() && !input->isPaused();
      if (!mayBeSettled) input->cancelWithValue(value);
    }
  }

  void didSettle(std::size_t index, const Value& outcome) override {
    const bool isSuccess = !isKindOf<PLVRejected>(outcome);
    _outcomes[index] = entryFor(outcome);
    _inputs[index].reset();
    --_waiting;
    if (isOver()) return;
    if (_goal == Goal::FirstResolved && isSuccess) {
      settle(outcome);
      dropOthers();
      return;
    }
    _hasSuccess = _hasSuccess || isSuccess;
    _hasFailure = _hasFailure || !isSuccess;
    if (_waiting == 0) {
      settleWithOutcomes();
    } else if (_goal == Goal::AllResolved ? _hasFailure
                                          : _goal == Goal::AnyResolved && _hasSuccess) {
      dropOthers();
    }
  }

 private:
  void settleWithOutcomes() {
    const Ref<NSArray> outcomes = NSArray::arrayWithValues(std::exchange(_outcomes, {}));
    const bool succeeds =
        _goal == Goal::AllSettled || (_goal == Goal::AllResolved ? !_hasFailure : _hasSuccess);
    settle(succeeds ? Value(outcomes) : Value(PLVRejected::withValue(outcomes)));
  }

  void dropOthers() {
    if (_unneeded != Unneeded::Cancel || std::exchange(_hasDropped, true)) return;
    cancelWork(nullptr);
  }

  const Goal _goal;
  const Unneeded _unneeded;
  std::size_t _waiting;
  std::size_t _observed = 0;
  std::vector<Value> _outcomes;
  std::vector<Weak<PLVDeferred>> _inputs;
  bool _hasSuccess = false;
  bool _hasFailure = false;
  bool _hasDropped = false;
};

Ref<PLVDeferred> gather(const Ref<NSArray>& deferreds, Gathering::Goal goal, Unneeded unneeded,
                        CreationPlace place) {
  if (!deferreds || deferreds->count() == 0) return nullptr;
  return makeObject<Gathering>(*deferreds, goal, unneeded)->begin(place);
}

}  // namespace

Ref<PLVDeferred> withTimeout(const Ref<PLVDeferred>& work, NSTimeInterval seconds,
                             Unneeded unneeded, CreationPlace place) {
  if (!work) return PLVDeferred::withResolved(nullptr, place);
  if (unneeded == Unneeded::Continue) return work->timeout(seconds, place);
  return makeObject<LimitedWork>(work, seconds)->begin(place);
}

Ref<PLVDeferred> allResolved(const Ref<NSArray>& deferreds, Unneeded unneeded,
                             CreationPlace place) {
  return gather(deferreds, Gathering::Goal::AllResolved, unneeded, place);
}

Ref<PLVDeferred> anyResolved(const Ref<NSArray>& deferreds, Unneeded unneeded,
                             CreationPlace place) {
  return gather(deferreds, Gathering::Goal::AnyResolved, unneeded, place);
}

Ref<PLVDeferred> firstResolved(const Ref<NSArray>& deferreds, Unneeded unneeded,
                               CreationPlace place) {
  return gather(deferreds, Gathering::Goal::FirstResolved, unneeded, place);
}

Ref<PLVDeferred> allSettled(const Ref<NSArray>& deferreds, CreationPlace place) {
  return gather(deferreds, Gathering::Goal::AllSettled, Unneeded::Continue, place);
}

}  // namespace JNFoundation
