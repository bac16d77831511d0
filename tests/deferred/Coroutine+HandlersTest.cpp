#include "DeferredFixture.h"
#include "platform/text/Randomness.h"

#include <JNFoundation/deferred/Coroutine.h>

/// Random scripts, played twice: by coroutines, and by handlers that do the same without them. Each
/// walker awaits what it is given, one after another, and must see and give the same both times.
namespace JNFoundation {
namespace {

using Words = std::vector<std::string>;

std::string textOf(const Value& value) { return value.description()->toStdString(); }

NSInteger numberOf(const Value& value) { return value.isNumber() ? value.integerValue() : 1; }

/// What a walker is given: deferreds, promises and nulls, and whether it goes on after a failure.
struct Walk {
  std::vector<Ref<NSObject>> things;
  bool recovers;
  std::shared_ptr<Words> seen;
};

Ref<PLVDeferred> walkAsCoroutine(Walk walk) {
  NSInteger sum = 0;
  for (Ref<NSObject>& thing : walk.things) {
    try {
      Value value = Value(std::move(thing));
      if (Ref<PLVPromise> promise = as<PLVPromise>(value)) {
        value = nullptr;
        value = co_await std::move(promise);
      } else {
        Ref<PLVDeferred> deferred = as<PLVDeferred>(value);
        value = nullptr;
        value = co_await std::move(deferred);
      }
      walk.seen->push_back("got " + textOf(value));
      sum += numberOf(value);
    } catch (const Rejected& failure) {
      walk.seen->push_back("failed " + textOf(failure.rejected()));
      if (!walk.recovers) throw;
    }
  }
  walk.seen->push_back("ends");
  co_return sum;
}

/// The same without coroutines, as plainly as handlers can do it.
class Walker : public Subclass<Walker, NSObject, PLVResolutionSource> {
 public:
  static Ref<PLVDeferred> start(Walk walk) {
    const Ref<Walker> walker = makeObject<Walker>(std::move(walk));
    walker->_result = PLVDeferred::initWithResolutionSource(walker);
    const Ref<PLVDeferred> result = walker->_result;
    walker->next();
    return result;
  }

  void resolvableDidCancelWithValue(const Ref<PLVResolvable>&, const Value& value) override {
    _cancellation = PLVRejected::cancellationWithValue(value);
    if (const Ref<PLVDeferred> awaited = _awaited.load()) awaited->cancelWithValue(value);
  }

 protected:
  explicit Walker(Walk walk) : _walk(std::move(walk)) {}
  ~Walker() override {
    if (_result && !_result->isResolved()) _result->cancel();
  }

 private:
  void next() {
    if (_position == _walk.things.size()) {
      _walk.seen->push_back("ends");
      return std::exchange(_result, nullptr)->resolve(_sum);
    }
    Value thing = Value(std::move(_walk.things[_position++]));
    Ref<PLVDeferred> awaited = as<PLVDeferred>(Value(thing));
    if (auto* promise = as<PLVPromise>(thing)) awaited = promise->deferredResolution();
    thing = nullptr;
    if (!awaited) return deliver(nullptr);
    _awaited = awaited;
    awaited->thenEither([self = Ref<Walker>(this)](const Value& value) {
      self->deliver(value);
      return value;
    });
  }

  void deliver(Value value) {
    _awaited.reset();
    const Value cancellation = std::exchange(_cancellation, nullptr);
    if (cancellation && !isCancellation(value)) value = cancellation;
    if (!isKindOf<PLVRejected>(value)) {
      _walk.seen->push_back("got " + textOf(value));
      _sum += numberOf(value);
      return next();
    }
    _walk.seen->push_back("failed " + textOf(value));
    if (_walk.recovers) return next();
    std::exchange(_result, nullptr)->resolve(value);
  }

  Walk _walk;
  Ref<PLVDeferred> _result;
  Weak<PLVDeferred> _awaited;
  Value _cancellation;
  NSInteger _sum = 0;
  std::size_t _position = 0;
};

struct Move {
  enum class Kind {
    MakeDeferred,
    MakePromise,
    Walk,
    Resolve,
    ResolveByOther,
    Reject,
    Cancel,
    Drop
  };

  Kind kind = Kind::MakeDeferred;
  std::size_t target = 0;
  /// What a walker awaits, by their numbers; one behind the last is null.
  std::vector<std::size_t> awaited;
  bool recovers = false;
};

using Script = std::vector<Move>;

Script scriptOf(testing::Randomness& random, int length) {
  Script script;
  std::size_t things = 0;
  for (int i = 0; i < length; ++i) {
    // More things at first, so that there is something to play with.
    const auto kind = static_cast<Move::Kind>(random.below(i < 4 ? 2 : 8));
    Move move;
    move.kind = kind;
    move.target = random.below(things + 1);
    if (kind == Move::Kind::Walk) {
      for (std::uint64_t n = random.below(5); n > 0; --n) {
        move.awaited.push_back(random.below(things + 1));
      }
      move.recovers = random.below(2) == 0;
    }
    if (kind == Move::Kind::ResolveByOther) move.awaited.push_back(random.below(move.target + 1));
    if (kind <= Move::Kind::Walk) ++things;
    script.push_back(std::move(move));
  }
  return script;
}

/// Returns: what each walker saw, and its outcome behind it.
std::vector<Words> play(const Script& script, Ref<PLVDeferred> (*walkWith)(Walk walk)) {
  std::vector<Ref<NSObject>> things, sources;
  std::vector<Weak<NSObject>> all;
  std::vector<std::shared_ptr<Words>> seen;
  const auto thing = [&](std::size_t number) {
    return number < things.size() ? things[number] : Ref<NSObject>();
  };
  const auto add = [&](Ref<NSObject> made) {
    all.emplace_back(made);
    things.push_back(std::move(made));
  };
  const auto cancel = [](const Value& thing, const Value& value) {
    if (auto* deferred = as<PLVDeferred>(thing)) deferred->cancelWithValue(value);
    if (auto* promise = as<PLVPromise>(thing)) promise->cancelWithValue(value);
  };
  NSInteger number = 0;
  for (const Move& move : script) {
    ++number;
    const Value target = thing(move.target);
    auto* resolvable = as<PLVResolvable>(target);
    switch (move.kind) {
      case Move::Kind::MakeDeferred:
        add(PLVDeferred::init());
        break;
      case Move::Kind::MakePromise:
        add(PLVPromise::init());
        break;
      case Move::Kind::Walk: {
        Walk walk{{}, move.recovers, std::make_shared<Words>()};
        for (const std::size_t awaited : move.awaited) walk.things.push_back(thing(awaited));
        const auto noted = walk.seen;
        seen.push_back(noted);
        const Ref<PLVDeferred> result = walkWith(std::move(walk));
        // Apart, because others may settle the result while the walker is still on its way.
        const auto outcome = std::make_shared<Words>();
        seen.push_back(outcome);
        result->thenEither([outcome](const Value& value) {
          outcome->push_back("gave " + textOf(value));
          return value;
        });
        add(result);
        break;
      }
      case Move::Kind::Resolve:
        if (resolvable) resolvable->resolve(number);
        break;
      case Move::Kind::ResolveByOther:
        // Only by an older one, so that none waits for itself; and that stays, because a promise
        // whose source has gone can no longer be settled by anybody.
        if (resolvable && move.awaited[0] < move.target) {
          sources.push_back(thing(move.awaited[0]));
          resolvable->resolve(sources.back());
        }
        break;
      case Move::Kind::Reject:
        if (resolvable) resolvable->reject(number);
        break;
      case Move::Kind::Cancel:
        cancel(target, number);
        break;
      case Move::Kind::Drop:
        if (move.target < things.size()) things[move.target] = nullptr;
        break;
    }
  }
  for (std::size_t i = 0; i < all.size(); ++i) {
    cancel(all[i].load(), "end");
  }
  std::vector<Words> result;
  for (const auto& words : seen) result.push_back(*words);
  return result;
}

TEST_F(DeferredFixture, CoroutinesSeeAndGiveWhatHandlersDo) {
  testing::Randomness random;
  JN_TRACE_SEED(random);
  std::size_t seen = 0;
  for (int round = 0; round < testing::rounds(500, 100'000); ++round) {
    const Script script = scriptOf(random, 40);
    const std::vector<Words> expected = play(script, &Walker::start);
    ASSERT_EQ(live.count(), 0) << "in round " << round << ", with handlers";
    ASSERT_EQ(play(script, &walkAsCoroutine), expected) << "in round " << round;
    ASSERT_EQ(live.count(), 0) << "in round " << round;
    for (const Words& words : expected) seen += words.size();
  }
  EXPECT_GT(seen, 500u) << "the scripts hardly do anything";
}

}  // namespace
}  // namespace JNFoundation
