#pragma once

#include <deque>
#include <functional>
#include <memory>
#include <string>
#include <utility>
#include <vector>

/// What deferreds and promises promise, written down as plainly as possible: every call nests, no
/// thought for speed or for the stack. Tests play the same script here and on the real ones.
namespace JNFoundation::model {

struct Object : std::enable_shared_from_this<Object> {
  virtual ~Object() = default;
};
using ObjectRef = std::shared_ptr<Object>;

/// A value is null, a number, an exception, a rejection of a value, or an object.
struct Value {
  enum class Kind { Null, Number, Exception, Rejected, Cancelled, Object };
  Kind kind = Kind::Null;
  int number = 0;
  std::shared_ptr<Value> inner;
  ObjectRef object;

  bool isRejected() const { return kind == Kind::Rejected || kind == Kind::Cancelled; }
  bool isCancellation() const { return kind == Kind::Cancelled; }
};

inline Value number(int number) { return {Value::Kind::Number, number, nullptr, nullptr}; }
inline Value exception(int number) { return {Value::Kind::Exception, number, nullptr, nullptr}; }
inline Value rejected(Value value) {
  return {Value::Kind::Rejected, 0, std::make_shared<Value>(std::move(value)), nullptr};
}
inline Value cancellation(Value value) {
  return {Value::Kind::Cancelled, 0, std::make_shared<Value>(std::move(value)), nullptr};
}
inline Value of(ObjectRef object) {
  return {object ? Value::Kind::Object : Value::Kind::Null, 0, nullptr, std::move(object)};
}

/// The platform's own exception; anything else is foreign.
struct Raised {
  int number;
};

struct Resolvable : Object {
  virtual void resolve(Value value) = 0;
  virtual void reject(Value value) { resolve(value.isRejected() ? value : rejected(value)); }
};
using ResolvableRef = std::shared_ptr<Resolvable>;

struct ResolutionSource {
  virtual ~ResolutionSource() = default;
  virtual void didCancel(ResolvableRef resolvable, Value value) = 0;
};

using Handler = std::function<Value(Value)>;
struct Step {
  Handler resolved, rejected;
};

struct Promise;

struct Deferred : Resolvable {
  std::weak_ptr<Object> source;
  std::deque<std::shared_ptr<Step>> steps;
  bool isResolved = false, isConsuming = false, isPaused = false, isCancelled = false;
  Value resolution;

  std::shared_ptr<Deferred> self() {
    return std::static_pointer_cast<Deferred>(shared_from_this());
  }

  void thenResolvedRejected(Handler resolved, Handler rejected) {
    steps.push_back(std::make_shared<Step>(Step{std::move(resolved), std::move(rejected)}));
    if (isResolved) consumeSteps();
  }
  void thenResolved(Handler handler) { thenResolvedRejected(std::move(handler), nullptr); }
  void thenRejected(Handler handler) { thenResolvedRejected(nullptr, std::move(handler)); }
  void thenEither(Handler handler) { thenResolvedRejected(handler, handler); }
  void thenEitherUnlessCanceled(Handler handler) {
    thenResolvedRejected(handler, [handler](Value value) {
      return value.isCancellation() || !handler ? value : handler(value);
    });
  }
  void thenResolve(ResolvableRef target) {
    thenEither([target](Value value) {
      target->resolve(value);
      return value;
    });
  }

  void resolve(Value value) override {
    if (!isCancelled) consumeStepsWithValue(value);
  }
  void cancelWithValue(Value value) {
    if (isCancelled) return;
    isCancelled = true;
    if (!isResolved) {
      const ObjectRef told = source.lock();
      if (auto* answering = dynamic_cast<ResolutionSource*>(told.get())) {
        answering->didCancel(self(), value);
      }
      consumeStepsWithValue(cancellation(value));
    } else if (auto inner = std::dynamic_pointer_cast<Deferred>(resolution.object)) {
      inner->cancelWithValue(value);
    } else if (steps.empty()) {
      resolution = cancellation(value);
    }
  }

  inline static Value awaitable(Value value);

  void consumeStepsWithValue(Value value) {
    if (isResolved) return;
    isResolved = true;
    if (value.isCancellation()) {
      isCancelled = true;
    } else {
      value = awaitable(value);
    }
    resolution = value;
    if (auto inner = std::dynamic_pointer_cast<Deferred>(value.object)) {
      pauseWithDeferred(inner);
    } else {
      consumeSteps();
    }
  }

  static Value process(const Step& step, Value value) {
    const Handler& handler = value.isRejected() ? step.rejected : step.resolved;
    return handler ? handler(value) : value;
  }

  Value run(const Step& step) {
    struct Consuming {
      bool& flag;
      ~Consuming() { flag = false; }
    } consuming{isConsuming = true};
    return awaitable(process(step, resolution));
  }

  /// What a resolution that stands in a cancelled chain answers when it is asked for its value.
  static Value valueOf(const Value& resolution) {
    if (resolution.isRejected()) return *resolution.inner;
    if (resolution.kind == Value::Kind::Null) return resolution;
    throw Raised{-1};
  }

  void consumeSteps() {
    if (isConsuming || isPaused) return;
    const auto alive = self();
    while (!steps.empty()) {
      try {
        const std::shared_ptr<Step> step = steps.front();
        steps.pop_front();
        const Value result = run(*step);
        auto inner = std::dynamic_pointer_cast<Deferred>(result.object);
        if (!isCancelled) {
          resolution = result;
          if (inner) {
            pauseWithDeferred(inner);
            break;
          }
          if (result.isCancellation()) isCancelled = true;
        } else if (inner) {
          inner->cancelWithValue(valueOf(resolution));
        } else if (result.isCancellation()) {
          resolution = result;
        }
      } catch (const Raised& raised) {
        resolution = isCancelled ? cancellation({}) : rejected(exception(raised.number));
      }
    }
  }
  void pauseWithDeferred(std::shared_ptr<Deferred> inner) {
    isPaused = true;
    inner->thenEither([outer = self()](Value value) {
      outer->resumeWithValue(value);
      return value;
    });
  }
  void resumeWithValue(Value value) {
    isPaused = false;
    resolution = value;
    consumeSteps();
  }
};
using DeferredRef = std::shared_ptr<Deferred>;

struct Promise : Resolvable, ResolutionSource {
  using Callback = std::function<void(Value, Value)>;
  std::weak_ptr<Object> source;
  std::weak_ptr<Deferred> awaited;
  Callback callback;
  bool isResolved = false, isCancelled = false, isFinalized = false, isFulfilled = false;
  bool processesCancellations = true;
  Value resolution;
  std::vector<ResolvableRef> listeners;

  std::shared_ptr<Promise> self() { return std::static_pointer_cast<Promise>(shared_from_this()); }

  DeferredRef deferredResolution() {
    auto deferred = std::make_shared<Deferred>();
    deferred->source = weak_from_this();
    enlistResolvable(deferred);
    return deferred;
  }
  std::shared_ptr<Promise> promisedResolution() {
    auto promise = std::make_shared<Promise>();
    promise->source = weak_from_this();
    enlistResolvable(promise);
    return promise;
  }
  void whenFulfilledResolve(ResolvableRef target) { deferredResolution()->thenResolve(target); }
  void whenFulfilled(Callback callback) {
    if (isFinalized) return promisedResolution()->whenFulfilled(callback);
    isFinalized = true;
    this->callback = callback;
    if (isFulfilled) consume();
  }
  void enlistResolvable(ResolvableRef resolvable) {
    if (isFulfilled) return resolvable->resolve(resolution);
    for (const ResolvableRef& listener : listeners) {
      if (listener == resolvable) return;
    }
    listeners.push_back(resolvable);
  }

  void resolve(Value value) override {
    if (!isCancelled) consumeValue(value);
  }
  void cancelWithValue(Value value) {
    if (isCancelled) return;
    isCancelled = true;
    if (isFulfilled) {
      resolution = cancellation(value);
      return;
    }
    const ObjectRef told = source.lock();
    if (auto* answering = dynamic_cast<ResolutionSource*>(told.get())) {
      answering->didCancel(self(), value);
    }
    if (auto inner = awaited.lock()) inner->cancelWithValue(value);
    consumeValue(cancellation(value));
  }
  void didCancel(ResolvableRef resolvable, Value) override {
    if (!remove(resolvable)) return;
    if (!isFulfilled && processesCancellations && listeners.empty()) cancelWithValue({});
  }

  void consumeValue(Value value) {
    if (isResolved) return;
    isResolved = true;
    value = Deferred::awaitable(value);
    if (auto inner = std::dynamic_pointer_cast<Deferred>(value.object)) {
      awaited = inner;
      inner->thenEither([promise = self()](Value value) {
        promise->resumeWithValue(value);
        return value;
      });
      return;
    }
    isFulfilled = true;
    resolution = value;
    isCancelled = value.isCancellation();
    consume();
  }
  void resumeWithValue(Value value) {
    resolution = value;
    awaited.reset();
    isFulfilled = true;
    consume();
  }
  void consume() {
    if (!isFulfilled) return;
    const auto alive = self();
    const Value outcome = resolution;
    const std::vector<ResolvableRef> all = listeners;
    for (const ResolvableRef& listener : all) {
      remove(listener);
      try {
        listener->resolve(outcome);
      } catch (const Raised&) {
      }
    }
    if (!isFinalized || !callback) return;
    struct Release {
      Callback& callback;
      ~Release() { callback = nullptr; }
    } release{callback};
    if (outcome.isRejected()) {
      callback({}, outcome);
    } else {
      callback(outcome, {});
    }
  }
  bool remove(const ResolvableRef& resolvable) {
    for (auto at = listeners.begin(); at != listeners.end(); ++at) {
      if (*at != resolvable) continue;
      listeners.erase(at);
      return true;
    }
    return false;
  }
};
using PromiseRef = std::shared_ptr<Promise>;

inline Value Deferred::awaitable(Value value) {
  auto promise = std::dynamic_pointer_cast<Promise>(value.object);
  return promise ? of(promise->deferredResolution()) : value;
}

/// An application's resolvable and its source, each of which runs a closure.
struct Listener : Resolvable {
  std::function<void(Value)> answer;
  void resolve(Value value) override { answer(value); }
};
struct Source : Object, ResolutionSource {
  std::function<void(ResolvableRef, Value)> answer;
  void didCancel(ResolvableRef resolvable, Value value) override { answer(resolvable, value); }
};

}  // namespace JNFoundation::model
