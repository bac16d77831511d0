#pragma once

#include <gtest/gtest.h>
#include <string>
#include <utility>
#include <vector>

#include "platform/value/LiveObjects.h"

#include <JNFoundation/deferred/PLVDeferred.h>
#include <JNFoundation/deferred/PLVPromise.h>
#include <JNFoundation/platform/dispatch/MainQueue.h>
#include <JNFoundation/platform/dispatch/NSRunLoop.h>
#include <JNFoundation/platform/value/NSDate.h>
#include <JNFoundation/platform/value/NSException.h>

namespace JNFoundation {

/// A test with a main queue of its own and a record of what happened, in order. It fails when it
/// leaves an object alive.
class DeferredFixture : public ::testing::Test {
 protected:
  using Words = std::vector<std::string>;

  void TearDown() override {
    EXPECT_EQ(record, Words{}) << "something happened that the test did not expect";
    EXPECT_EQ(live.count(), 0) << "objects are left alive";
  }

  static std::string text(const Value& value) { return value.description()->toStdString(); }

  /// What has happened since this was last asked.
  Words happened() { return std::exchange(record, {}); }

  /// A handler that leaves "name value" in the record and returns the value.
  auto noting(std::string name) {
    return [this, name = std::move(name)](const Value& value) -> Value {
      record.push_back(name + " " + text(value));
      return value;
    };
  }

  /// A handler that leaves "name value" in the record and returns the result.
  auto returning(std::string name, Value result) {
    return [this, name = std::move(name), result = std::move(result)](const Value& value) -> Value {
      record.push_back(name + " " + text(value));
      return result;
    };
  }

  /// A handler that leaves "name value" in the record and raises an NSException.
  auto raising(std::string name) {
    return [this, name = std::move(name)](const Value& value) -> Value {
      record.push_back(name + " " + text(value));
      raise("Scripted", "%@ raised", name);
    };
  }

  /// A callback of a promise that leaves "name value rejected" in the record.
  auto fulfilled(std::string name) {
    return [this, name = std::move(name)](const Value& value, const Ref<PLVRejected>& rejected) {
      record.push_back(name + " " + text(value) + " " + text(rejected));
    };
  }

  /// One turn of the main queue, without waiting.
  static void turn() {
    NSRunLoop::currentRunLoop()->runModeBeforeDate(NSDefaultRunLoopMode, NSDate::distantPast());
  }

  Words record;
  MainQueueScope scope;
  ::JNFoundation::testing::LiveObjects live;
};

/// A resolvable of an application's own.
class Listener : public Subclass<Listener, NSObject, PLVResolvable> {
 public:
  using Answer = Block<void(const Value& value)>;
  static Ref<Listener> answering(Answer answer) { return makeObject<Listener>(std::move(answer)); }
  void resolve(const Value& value) override { _answer(value); }
  void reject(const Value& value) override {
    _answer(isKindOf<PLVRejected>(value) ? value : Value(PLVRejected::withValue(value)));
  }

 protected:
  explicit Listener(Answer answer) : _answer(std::move(answer)) {}

 private:
  Answer _answer;
};

/// A resolution source of an application's own.
class Source : public Subclass<Source, NSObject, PLVResolutionSource> {
 public:
  using Answer = Block<void(const Ref<PLVResolvable>& resolvable, const Value& value)>;
  static Ref<Source> answering(Answer answer) { return makeObject<Source>(std::move(answer)); }
  void resolvableDidCancelWithValue(const Ref<PLVResolvable>& resolvable,
                                    const Value& value) override {
    _answer(resolvable, value);
  }

 protected:
  explicit Source(Answer answer) : _answer(std::move(answer)) {}

 private:
  Answer _answer;
};

/// Runs the action when it is destroyed.
class AtEnd : public NSObject {
 public:
  using Superclass = NSObject;
  static Ref<AtEnd> run(Block<void()> action) { return makeObject<AtEnd>(std::move(action)); }

 protected:
  explicit AtEnd(Block<void()> action) : _action(std::move(action)) {}
  ~AtEnd() override { _action(); }

 private:
  Block<void()> _action;
};

/// As many as no stack holds frames for.
inline constexpr int million = 1'000'000;

/// An exception that is no NSException.
struct Foreign {};

}  // namespace JNFoundation
