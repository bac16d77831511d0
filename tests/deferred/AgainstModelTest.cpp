#include <map>
#include <optional>

#include "DeferredFixture.h"
#include "DeferredModel.h"
#include "platform/text/Randomness.h"

/// Random scripts, played on the deferreds and promises of the library and on a model of them that
/// simply nests its calls. Every call of a handler, its order and all states must be the same.
namespace JNFoundation {
namespace {

/// A number that depends on its arguments only.
std::uint64_t mixed(std::uint64_t seed, std::uint64_t number) {
  std::uint64_t z = seed + (number + 1) * 0x9E3779B97F4A7C15u;
  z = (z ^ (z >> 30)) * 0xBF58476D1CE4E5B9u;
  z = (z ^ (z >> 27)) * 0x94D049BB133111EBu;
  return z ^ (z >> 31);
}

/// Numbers for one decision after another, the same for both players.
class Choices {
 public:
  explicit Choices(std::uint64_t seed) : _seed(seed) {}
  std::uint64_t below(std::uint64_t limit) { return mixed(_seed, _taken++) % limit; }

 private:
  std::uint64_t _seed;
  std::uint64_t _taken = 0;
};

/// Deferreds whose operations the engine may not take a short way around.
class Overriding : public Subclass<Overriding, PLVDeferred> {
 public:
  void resolve(const Value& value) override { PLVDeferred::resolve(value); }
  void reject(const Value& value) override { PLVDeferred::reject(value); }
  void cancelWithValue(const Value& value) override { PLVDeferred::cancelWithValue(value); }
};
class OverridingPromise : public Subclass<OverridingPromise, PLVPromise> {
 public:
  void resolve(const Value& value) override { PLVPromise::resolve(value); }
  void cancelWithValue(const Value& value) override { PLVPromise::cancelWithValue(value); }
  void resolvableDidCancelWithValue(const Ref<PLVResolvable>& resolvable,
                                    const Value& value) override {
    PLVPromise::resolvableDidCancelWithValue(resolvable, value);
  }
};

/// The library, as a player sees it.
struct Library {
  using Value = JNFoundation::Value;
  using Object = Ref<NSObject>;
  using Deferred = Ref<PLVDeferred>;
  using Promise = Ref<PLVPromise>;
  using Resolvable = Ref<PLVResolvable>;
  using Raised = JNFoundation::Raised;

  static Value number(int number) { return number; }
  static Value rejected(Value value) { return PLVRejected::withValue(value); }
  static Value cancellation(Value value) { return PLVRejected::cancellationWithValue(value); }
  static Value of(const Object& object) { return object; }
  static Object objectOf(const Value& value) { return value.object(); }
  static const void* identity(const Object& object) { return object.get(); }
  static Value resolution(const Deferred& deferred) { return deferred->resolution(); }
  [[noreturn]] static void raise(int number) { JNFoundation::raise("Scripted", "%d", number); }

  static Deferred deferred(bool plain, const Object& source) {
    return plain ? PLVDeferred::withResolutionSource(source)
                 : Deferred(Overriding::withResolutionSource(source));
  }
  static Promise promise(bool plain, const Object& source) {
    return plain ? PLVPromise::withResolutionSource(source)
                 : Promise(OverridingPromise::withResolutionSource(source));
  }
  template <class Answer>
  static Object listener(Answer answer) {
    return Listener::answering([answer](const Value& value) { answer(value); });
  }
  template <class Answer>
  static Object source(Answer answer) {
    return Source::answering([answer](const Ref<PLVResolvable>& resolvable, const Value& value) {
      answer(Object(resolvable->protocolObject()), value);
    });
  }

  static Deferred asDeferred(const Object& object) { return as<PLVDeferred>(Value(object)); }
  static Promise asPromise(const Object& object) { return as<PLVPromise>(Value(object)); }
  static Resolvable asResolvable(const Object& object) { return as<PLVResolvable>(Value(object)); }
  static void setProcesses(const Promise& promise, bool processes) {
    promise->setShouldProcessResolvableCancellations(processes);
  }
  static Deferred resolvedDeferred(const Deferred& by) { return PLVDeferred::resolvedBy(by); }
  static Promise resolvedPromise(const Deferred& by) { return PLVPromise::resolvedBy(by); }

  template <class NameOf>
  static std::string text(const Value& value, const NameOf& nameOf) {
    if (auto* rejected = as<PLVRejected>(value)) {
      return (rejected->isCancellation() ? "cancelled " : "rejected ") +
             text(rejected->value(), nameOf);
    }
    if (auto* exception = as<NSException>(value)) {
      const std::string reason = exception->reason()->toStdString();
      return "exception " +
             (exception->name()->toStdString() == "Scripted" ? reason : std::string("-1"));
    }
    if (value.isObject() && !value.isString()) return nameOf(value.object());
    return value.description()->toStdString();
  }
  template <class NameOf>
  static std::string state(const Object& object, const NameOf& nameOf) {
    if (const Deferred deferred = asDeferred(object)) {
      return std::string(deferred->isResolved() ? "resolved " : "") +
             (deferred->isPaused() ? "paused " : "") +
             (deferred->isCancelled() ? "cancelled " : "") + text(deferred->resolution(), nameOf);
    }
    if (const Promise promise = asPromise(object)) {
      return std::string(promise->isFulfilled() ? "fulfilled " : "") +
             std::to_string(promise->resolvables() ? promise->resolvables()->count() : 0) + " " +
             text(promise->resolution(), nameOf);
    }
    return "";
  }
};

/// The model, as a player sees it.
struct Model {
  using Value = model::Value;
  using Object = model::ObjectRef;
  using Deferred = model::DeferredRef;
  using Promise = model::PromiseRef;
  using Resolvable = model::ResolvableRef;
  using Raised = model::Raised;

  static Value number(int number) { return model::number(number); }
  static Value rejected(Value value) { return model::rejected(std::move(value)); }
  static Value cancellation(Value value) { return model::cancellation(std::move(value)); }
  static Value of(const Object& object) { return model::of(object); }
  static Object objectOf(const Value& value) { return value.object; }
  static const void* identity(const Object& object) { return object.get(); }
  static Value resolution(const Deferred& deferred) { return deferred->resolution; }
  [[noreturn]] static void raise(int number) { throw model::Raised{number}; }

  static Deferred deferred(bool, const Object& source) {
    auto deferred = std::make_shared<model::Deferred>();
    deferred->source = source;
    return deferred;
  }
  static Promise promise(bool, const Object& source) {
    auto promise = std::make_shared<model::Promise>();
    promise->source = source;
    return promise;
  }
  template <class Answer>
  static Object listener(Answer answer) {
    auto listener = std::make_shared<model::Listener>();
    listener->answer = answer;
    return listener;
  }
  template <class Answer>
  static Object source(Answer answer) {
    auto source = std::make_shared<model::Source>();
    source->answer = answer;
    return source;
  }

  static Deferred asDeferred(const Object& object) {
    return std::dynamic_pointer_cast<model::Deferred>(object);
  }
  static Promise asPromise(const Object& object) {
    return std::dynamic_pointer_cast<model::Promise>(object);
  }
  static Resolvable asResolvable(const Object& object) {
    return std::dynamic_pointer_cast<model::Resolvable>(object);
  }
  static void setProcesses(const Promise& promise, bool processes) {
    promise->processesCancellations = processes;
  }
  static Deferred resolvedDeferred(const Deferred& by) {
    auto deferred = std::make_shared<model::Deferred>();
    by->thenResolve(deferred);
    return deferred;
  }
  static Promise resolvedPromise(const Deferred& by) {
    auto promise = std::make_shared<model::Promise>();
    by->thenResolve(promise);
    return promise;
  }

  template <class NameOf>
  static std::string text(const Value& value, const NameOf& nameOf) {
    switch (value.kind) {
      case Value::Kind::Null:
        return "(null)";
      case Value::Kind::Number:
        return std::to_string(value.number);
      case Value::Kind::Exception:
        return "exception " + std::to_string(value.number);
      case Value::Kind::Rejected:
        return "rejected " + text(*value.inner, nameOf);
      case Value::Kind::Cancelled:
        return "cancelled " + text(*value.inner, nameOf);
      case Value::Kind::Object:
        return nameOf(value.object.get());
    }
    return "";
  }
  template <class NameOf>
  static std::string state(const Object& object, const NameOf& nameOf) {
    if (const Deferred deferred = asDeferred(object)) {
      return std::string(deferred->isResolved ? "resolved " : "") +
             (deferred->isPaused ? "paused " : "") + (deferred->isCancelled ? "cancelled " : "") +
             text(deferred->resolution, nameOf);
    }
    if (const Promise promise = asPromise(object)) {
      return std::string(promise->isFulfilled ? "fulfilled " : "") +
             std::to_string(promise->listeners.size()) + " " + text(promise->resolution, nameOf);
    }
    return "";
  }
};

/// Plays scripts in one of the two worlds. All decisions come from the seed and from the numbers of
/// handlers and objects, so two players decide alike for as long as their worlds behave alike.
template <class World>
class Player {
 public:
  explicit Player(std::uint64_t seed) : _seed(seed) {
    for (int i = 0; i < 4; ++i) addDeferred(nullptr, 0.1 + 0.2 * i);
    for (int i = 0; i < 2; ++i) addPromise(nullptr, 0.3 + 0.4 * i);
  }

  void play(std::uint64_t operation) {
    _budget = 60;
    Choices choices(mixed(_seed, operation));
    guarded([&] { act(choices); });
  }

  std::vector<std::string> takeRecord() { return std::exchange(_record, {}); }

  std::vector<std::string> states() const {
    std::vector<std::string> states;
    for (const Slot& slot : _slots) {
      states.push_back(slot.object ? World::state(slot.object, naming()) : "forgotten");
    }
    return states;
  }

  /// Ends everything that is still on its way, so that nothing waits for what never comes.
  void finish() {
    _isFinishing = true;
    for (int round = 0; round < 3; ++round) {
      for (std::size_t i = 0; i < _slots.size(); ++i) {
        const Object object = _slots[i].object;
        if (const auto deferred = World::asDeferred(object)) {
          guarded([&] { deferred->cancelWithValue(Value()); });
          // A source that raised has left a cancelled deferred behind without an outcome.
          if (const auto inner = World::asDeferred(World::objectOf(World::resolution(deferred)))) {
            guarded([&] { inner->consumeStepsWithValue(Value()); });
          }
          guarded([&] { deferred->consumeStepsWithValue(Value()); });
          guarded([&] { deferred->consumeSteps(); });
        } else if (const auto promise = World::asPromise(object)) {
          guarded([&] { promise->cancelWithValue(Value()); });
          guarded([&] { promise->consumeValue(Value()); });
          guarded([&] { promise->consume(); });
        }
      }
    }
    _slots.clear();
  }

 private:
  using Value = typename World::Value;
  using Object = typename World::Object;

  /// Who waits for whom goes from low ranks to high ones, so that nobody waits for itself.
  struct Slot {
    Object object;
    double rank;
  };

  template <class Action>
  void guarded(const Action& action) {
    try {
      action();
    } catch (const typename World::Raised&) {
      note("raised out of the call");
    } catch (const Foreign&) {
      note("foreign exception out of the call");
    }
  }

  void note(std::string text) { _record.push_back(std::move(text)); }

  auto naming() const {
    return [this](const void* object) {
      const auto found = _names.find(object);
      return found == _names.end() ? std::string("object")
                                   : "object " + std::to_string(found->second);
    };
  }
  std::string text(const Value& value) const { return World::text(value, naming()); }

  void add(Object object, double rank) {
    _names[World::identity(object)] = _slots.size();
    _slots.push_back({std::move(object), rank});
  }
  double newRank(double below) {
    return below * static_cast<double>(mixed(_seed, 1'000'000 + _slots.size()) % 1000) / 1000.0;
  }
  bool isPlain() const { return mixed(_seed, 2'000'000 + _slots.size()) % 3 != 0; }
  void addDeferred(const Object& source, double rank) {
    add(World::deferred(isPlain(), source), rank);
  }
  void addPromise(const Object& source, double rank) {
    add(World::promise(isPlain(), source), rank);
  }

  /// The object at or after a random place that suits; null if none does.
  template <class Suits>
  const Slot* find(Choices& choices, const Suits& suits) {
    const std::size_t start = choices.below(_slots.size());
    for (std::size_t i = 0; i < _slots.size(); ++i) {
      const Slot& slot = _slots[(start + i) % _slots.size()];
      if (slot.object && suits(slot)) return &slot;
    }
    return nullptr;
  }
  /// A copy, because what is called may add objects.
  template <class Suits>
  std::optional<Slot> pick(Choices& choices, const Suits& suits) {
    const Slot* found = find(choices, suits);
    return found ? std::optional<Slot>(*found) : std::nullopt;
  }
  std::optional<Slot> pickDeferred(Choices& choices) {
    return pick(choices, [](const Slot& slot) { return !!World::asDeferred(slot.object); });
  }
  std::optional<Slot> pickPromise(Choices& choices) {
    return pick(choices, [](const Slot& slot) { return !!World::asPromise(slot.object); });
  }
  std::optional<Slot> pickResolvableBelow(Choices& choices, double rank) {
    return pick(choices, [&](const Slot& slot) {
      return slot.rank < rank && World::asResolvable(slot.object);
    });
  }

  /// A value that something of that rank may have as its outcome.
  Value value(Choices& choices, double rank) {
    if (choices.below(5) == 0) {
      const auto awaited = pick(choices, [&](const Slot& slot) {
        return slot.rank > rank &&
               (World::asDeferred(slot.object) || World::asPromise(slot.object));
      });
      if (awaited) return World::of(awaited->object);
    }
    return plainValue(choices);
  }
  /// No deferred: one that ends as the value of its own cancellation would never be destroyed.
  Value plainValue(Choices& choices) {
    const Value number = World::number(static_cast<int>(choices.below(100)));
    switch (choices.below(8)) {
      case 0:
        return Value();
      case 1:
        return World::rejected(number);
      case 2:
        return World::cancellation(number);
      default:
        return number;
    }
  }

  /// A handler with a number of its own, by which it decides what it does when it runs.
  auto handler(double rank) {
    const std::uint64_t name = _handlers++;
    return [this, name, rank](const Value& given) -> Value {
      note("handler " + std::to_string(name) + " gets " + text(given));
      Choices choices(mixed(_seed, 3'000'000 + name));
      answer(choices);
      if (_isFinishing) return given;
      switch (choices.below(20)) {
        case 0:
        case 1:
          World::raise(static_cast<int>(name));
        case 2:
          throw Foreign();
        case 3:
        case 4:
        case 5:
        case 6:
        case 7:
        case 8:
        case 9:
        case 10:
          return value(choices, rank);
        default:
          return given;
      }
    };
  }

  /// What a handler, listener, source or callback does before it returns.
  void answer(Choices& choices) {
    if (_depth >= 5 || _isFinishing) return;
    struct Depth {
      int& depth;
      explicit Depth(int& depth) : depth(depth) { ++depth; }
      ~Depth() { --depth; }
    } depth(_depth);
    for (std::uint64_t i = choices.below(4); i > 0 && _budget > 0; --i) {
      --_budget;
      act(choices);
    }
  }
  void answerOrThrow(Choices& choices, std::uint64_t name) {
    answer(choices);
    if (_isFinishing) return;
    const std::uint64_t kind = choices.below(12);
    if (kind == 0) World::raise(static_cast<int>(name));
    if (kind == 1) throw Foreign();
  }

  auto callback() {
    const std::uint64_t name = _handlers++;
    return [this, name](const Value& value, const auto& rejected) {
      note("callback " + std::to_string(name) + " gets " + text(value) + " and " +
           text(Value(rejected)));
      Choices choices(mixed(_seed, 3'000'000 + name));
      answerOrThrow(choices, name);
    };
  }

  void act(Choices& choices) {
    switch (choices.below(36)) {
      case 0:
        return addDeferred(sourceOrNull(choices), newRank(1));
      case 1:
        return addPromise(sourceOrNull(choices), newRank(1));
      case 2:
        return addListener();
      case 3:
        return addSource();
      case 4:
      case 5:
      case 6:
      case 7:
      case 8:
      case 9:
        return resolve(choices);
      case 10:
        if (const auto slot = pickResolvableBelow(choices, 2)) {
          World::asResolvable(slot->object)->reject(plainValue(choices));
        }
        return;
      case 11:
      case 12:
        return cancel(choices);
      case 13:
      case 14:
        if (const auto slot = pickDeferred(choices)) {
          if (const auto target = pickResolvableBelow(choices, slot->rank)) {
            World::asDeferred(slot->object)->thenResolve(World::asResolvable(target->object));
          }
        }
        return;
      case 15:
      case 16:
      case 17:
        return listen(choices);
      case 18:
      case 19:
        if (const auto slot = pickPromise(choices)) {
          World::asPromise(slot->object)->whenFulfilled(callback());
        }
        return;
      case 20:
        if (const auto slot = pickPromise(choices)) {
          World::setProcesses(World::asPromise(slot->object), choices.below(2) == 0);
        }
        return;
      case 21:
        if (const auto slot = pickDeferred(choices)) {
          const auto source = World::asDeferred(slot->object);
          const double rank = newRank(slot->rank);
          if (choices.below(2)) {
            add(World::resolvedDeferred(source), rank);
          } else {
            add(World::resolvedPromise(source), rank);
          }
        }
        return;
      default:
        return then(choices);
    }
  }

  Object sourceOrNull(Choices& choices) {
    if (choices.below(2)) return nullptr;
    const auto source = pick(choices, [](const Slot&) { return true; });
    return source ? source->object : nullptr;
  }

  void addListener() {
    const std::uint64_t name = _handlers++;
    add(World::listener([this, name](const Value& value) {
          note("listener " + std::to_string(name) + " gets " + text(value));
          Choices choices(mixed(_seed, 3'000'000 + name + 7 * ++_answers));
          answerOrThrow(choices, name);
        }),
        newRank(1));
  }
  void addSource() {
    const std::uint64_t name = _handlers++;
    add(World::source([this, name](const auto& resolvable, const Value& value) {
          note("source " + std::to_string(name) + " of " + naming()(World::identity(resolvable)) +
               " gets " + text(value));
          Choices choices(mixed(_seed, 3'000'000 + name + 7 * ++_answers));
          answerOrThrow(choices, name);
        }),
        2);
  }

  void resolve(Choices& choices) {
    if (const auto slot = pickResolvableBelow(choices, 2)) {
      World::asResolvable(slot->object)->resolve(value(choices, slot->rank));
    }
  }

  void cancel(Choices& choices) {
    const Value carried = World::number(static_cast<int>(choices.below(100)));
    if (choices.below(2)) {
      if (const auto slot = pickDeferred(choices)) {
        World::asDeferred(slot->object)->cancelWithValue(carried);
      }
    } else if (const auto slot = pickPromise(choices)) {
      World::asPromise(slot->object)->cancelWithValue(carried);
    }
  }

  void listen(Choices& choices) {
    const auto slot = pickPromise(choices);
    if (!slot) return;
    const auto promise = World::asPromise(slot->object);
    const double rank = newRank(slot->rank);
    switch (choices.below(4)) {
      case 0:
        return add(promise->deferredResolution(), rank);
      case 1:
        return add(promise->promisedResolution(), rank);
      case 2:
        if (const auto target = pickResolvableBelow(choices, slot->rank)) {
          promise->enlistResolvable(World::asResolvable(target->object));
        }
        return;
      case 3:
        if (const auto target = pickResolvableBelow(choices, slot->rank)) {
          promise->whenFulfilledResolve(World::asResolvable(target->object));
        }
        return;
    }
  }

  void then(Choices& choices) {
    const auto slot = pickDeferred(choices);
    if (!slot) return;
    const auto deferred = World::asDeferred(slot->object);
    switch (choices.below(5)) {
      case 0:
        deferred->thenResolved(handler(slot->rank));
        return;
      case 1:
        deferred->thenRejected(handler(slot->rank));
        return;
      case 2:
        deferred->thenEither(handler(slot->rank));
        return;
      case 3:
        deferred->thenEitherUnlessCanceled(handler(slot->rank));
        return;
      case 4: {
        auto resolved = handler(slot->rank);
        deferred->thenResolvedRejected(resolved, handler(slot->rank));
        return;
      }
    }
  }

  const std::uint64_t _seed;
  std::vector<Slot> _slots;
  std::map<const void*, std::size_t> _names;
  std::vector<std::string> _record;
  std::uint64_t _handlers = 0;
  std::uint64_t _answers = 0;
  int _depth = 0;
  int _budget = 0;
  bool _isFinishing = false;
};

class AgainstModel : public DeferredFixture {};

TEST_F(AgainstModel, RandomOperationsGiveTheSameCallsOrdersAndStates) {
  JNFoundation::testing::Randomness randomness;
  JN_TRACE_SEED(randomness);
  // Twenty thousand operations, ten million in the long run.
  constexpr int operations = 100;
  const int scripts = JNFoundation::testing::rounds(200, 100'000);
  std::size_t calls = 0;
  for (int script = 0; script < scripts; ++script) {
    const std::uint64_t seed = randomness.bits();
    Player<Library> library(seed);
    Player<Model> model(seed);
    for (int operation = 0; operation < operations; ++operation) {
      library.play(operation);
      model.play(operation);
      const Words record = library.takeRecord();
      calls += record.size();
      ASSERT_EQ(record, model.takeRecord()) << "script " << script << ", operation " << operation;
      ASSERT_EQ(library.states(), model.states())
          << "script " << script << ", operation " << operation;
    }
    library.finish();
    model.finish();
    ASSERT_EQ(library.takeRecord(), model.takeRecord()) << "end of script " << script;
    ASSERT_EQ(live.count(), 0) << "end of script " << script;
  }
  EXPECT_GT(calls, static_cast<std::size_t>(scripts) * 40) << "the scripts hardly did anything";
}

}  // namespace
}  // namespace JNFoundation
